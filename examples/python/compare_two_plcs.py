#!/usr/bin/env python3
"""Compares what two PLCs of the same program hold.

    compare_two_plcs.py ADDRESS ADDRESS SYMBOLS PATTERN
"""
import sys

import ac500

if len(sys.argv) != 5:
    sys.exit(__doc__)
first, second, symbols, pattern = sys.argv[1:]
with ac500.connect(first, symbols) as one, ac500.connect(second, symbols) as other:
    names = [tag.name for tag in one.tags(pattern)]
    here, there = one.read_values(names), other.read_values(names)
different = [name for name in names if here[name].value != there[name].value]
for name in different:
    print(f"{name}: {here[name].text} here, {there[name].text} there")
print(f"{len(different)} of {len(names)} differ")
sys.exit(1 if different else 0)
