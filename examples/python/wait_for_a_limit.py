#!/usr/bin/env python3
"""Waits until a value passes a limit: ends with 0 then, with 1 when it did not in time, with 2 when nobody can know.

    wait_for_a_limit.py ADDRESS SYMBOLS TAG LIMIT SECONDS
"""
import sys
import time

import ac500

if len(sys.argv) != 6:
    sys.exit(__doc__)
address, symbols, tag, limit, seconds = sys.argv[1:]
end = time.monotonic() + float(seconds)
with ac500.connect(address, symbols) as plc, plc.watch(tag) as watch:
    value = None
    while time.monotonic() < end:
        try:
            value = watch.next(timeout=max(0.0, end - time.monotonic()))
        except TimeoutError:
            break
        if value.is_fresh and float(value) > float(limit):
            print(f"{tag} is {value.text}")
            sys.exit(0)
if value is None or not value.is_fresh:
    print(f"{tag} is not known")
    sys.exit(2)
print(f"{tag} is still {value.text}")
sys.exit(1)
