#!/usr/bin/env python3
"""Logs values to a CSV file, a row for each pass; what is not fresh stays empty, so that a gap is a gap.

    log_to_csv.py ADDRESS SYMBOLS FILE ROWS SECONDS TAG...
"""
import csv
import datetime
import sys
import time

import ac500

if len(sys.argv) < 7:
    sys.exit(__doc__)
address, symbols, path, rows, seconds, *tags = sys.argv[1:]
with ac500.connect(address, symbols) as plc, open(path, "w", newline="") as file:
    log = csv.writer(file)
    log.writerow(["time", *tags])
    for _ in range(int(rows)):
        now = datetime.datetime.now(datetime.timezone.utc).isoformat(timespec="milliseconds")
        try:
            values = plc.read_values(tags)
            log.writerow([now, *(value.value if value.is_fresh else "" for value in values.values())])
        except (ac500.TcpError, ac500.HandshakeError, ac500.RequestError) as error:
            log.writerow([now, *("" for _ in tags)])
            print(error, file=sys.stderr)
        file.flush()
        time.sleep(float(seconds))
