#!/usr/bin/env python3
"""The same in a program with an event loop, which has something else to do meanwhile.

    watch_in_a_loop.py ADDRESS SYMBOLS COUNT TAG...
"""
import asyncio
import sys

import ac500


async def tick() -> None:
    while True:
        await asyncio.sleep(0.5)
        print("still here")


async def main(address: str, symbols: str, count: int, *tags: str) -> None:
    ticking = asyncio.create_task(tick())
    with ac500.connect(address, symbols) as plc:
        async with plc.watch(*tags) as watch:
            async for value in watch:
                print(f"{value.name} = {value.text}")
                count -= 1
                if count == 0:
                    break
    ticking.cancel()


if len(sys.argv) < 5:
    sys.exit(__doc__)
address, symbols, count, *tags = sys.argv[1:]
asyncio.run(main(address, symbols, int(count), *tags))
