#!/usr/bin/env python3
"""Prints values whenever they change, so many times.

    watch_values.py ADDRESS SYMBOLS COUNT TAG...
"""
import sys

import ac500

if len(sys.argv) < 5:
    sys.exit(__doc__)
address, symbols, count, *tags = sys.argv[1:]
with ac500.connect(address, symbols) as plc, plc.watch(*tags) as watch:
    for number, value in enumerate(watch, start=1):
        print(f"{value.name:30} {value.text:>20}  {value.state}")
        if number == int(count):
            break
