#!/usr/bin/env python3
"""Raises a number by 1, unless somebody else changes it meanwhile.

    write_if_unchanged.py ADDRESS SYMBOLS TAG
"""
import sys

import ac500

if len(sys.argv) != 4:
    sys.exit(__doc__)
address, symbols, tag = sys.argv[1:]
with ac500.connect(address, symbols) as plc:
    old = plc.read(tag)
    try:
        plc.write(tag, old + 1, expect=old, read_back=True)
    except ac500.WriteError as error:
        sys.exit(f"{tag} was {error.outcome}: {error}")
    print(f"{tag}: {old} -> {plc.read(tag)}")
