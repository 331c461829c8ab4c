#!/usr/bin/env python3
"""Draws the trend of some tags over some seconds into a picture.

    plot_trend.py ADDRESS SYMBOLS PICTURE SECONDS TAG...
"""
import sys
import time

import matplotlib

matplotlib.use("Agg")
import matplotlib.pyplot as plt

import ac500

if len(sys.argv) < 6:
    sys.exit(__doc__)
address, symbols, picture, seconds, *tags = sys.argv[1:]
times = {tag: [] for tag in tags}
numbers = {tag: [] for tag in tags}
with ac500.connect(address, symbols) as plc, plc.watch(*tags, on_reception=True) as watch:
    end = time.monotonic() + float(seconds)
    for value in watch:
        times[value.name].append(value.received)
        numbers[value.name].append(float(value) if value.is_fresh else float("nan"))  # a gap stays a gap
        if time.monotonic() > end:
            break
for tag in tags:
    plt.plot(times[tag], numbers[tag], label=tag, drawstyle="steps-post")
plt.legend()
plt.gcf().autofmt_xdate()
plt.savefig(picture)
print(f"{picture}: {sum(map(len, times.values()))} samples")
