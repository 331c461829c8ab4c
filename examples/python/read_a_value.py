#!/usr/bin/env python3
"""Reads one value and says how old it is.

    read_a_value.py ADDRESS SYMBOLS TAG
"""
import sys

import ac500

if len(sys.argv) != 4:
    sys.exit(__doc__)
address, symbols, tag = sys.argv[1:]
with ac500.connect(address, symbols) as plc:
    value = plc.read_values([tag])[tag]
    print(f"{value.name} = {value.text}, received {value.age.total_seconds():.1f} s ago")
