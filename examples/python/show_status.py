#!/usr/bin/env python3
"""Says how a connection fares, for so many seconds.

    show_status.py ADDRESS SYMBOLS SECONDS TAG...
"""
import sys
import time

import ac500

if len(sys.argv) < 5:
    sys.exit(__doc__)
address, symbols, seconds, *tags = sys.argv[1:]
with ac500.connect(address, symbols) as plc, plc.watch(*tags):
    plc.wait_online(timeout=5)
    time.sleep(float(seconds))
    status = plc.status()
print(f"{status.frames_accepted} replies, {status.retries} retries, {status.refusals} refusals, {status.cycles} passes")
if status.median_cycle is not None:
    print(f"a pass takes {1000 * status.median_cycle:.1f} ms, {1000 * status.longest_cycle:.1f} ms at most")
print(status.last_failure or "nothing has failed")
