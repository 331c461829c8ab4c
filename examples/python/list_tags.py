#!/usr/bin/env python3
"""Lists tags with what the symbol file knows of them. Needs no PLC.

    list_tags.py SYMBOLS PATTERN
"""
import sys

import ac500

if len(sys.argv) != 3:
    sys.exit(__doc__)
symbols, pattern = sys.argv[1:]
with ac500.connect(symbols=symbols) as plc:
    for tag in plc.tags(pattern):
        limits = "" if tag.minimum is None else f"{tag.minimum:g} to {tag.maximum:g}"
        print(f"{tag.name:40} {tag.type:12} {tag.unit:6} {limits:16} {tag.comment}")
