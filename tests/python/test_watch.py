"""Watching, with and without an event loop."""

import asyncio
import threading

import ac500
import pytest


def test_the_first_value_comes_unasked_and_then_what_changes(plc):
    with plc.watch("Main.counter") as watch:
        first = next(value for value in watch if value.is_known)
        assert (first.name, first.value) == ("Main.counter", 7)
        plc.write("Main.counter", 8)
        assert next(value.latest for value in watch if value.latest != 7) == 8


def test_a_watch_needs_a_tag(plc):
    with pytest.raises(ac500.UsageError, match="watch.. needs a tag"):
        plc.watch()


def test_nothing_new_is_told_in_time(plc):
    with plc.watch("Main.counter") as watch:
        while not watch.next(timeout=10).is_fresh:
            pass
        with pytest.raises(TimeoutError):
            watch.next(timeout=0.15)


def test_a_time_that_is_no_number_is_refused(plc):
    with plc.watch("Main.counter") as watch:
        while not watch.next(timeout=float("inf")).is_fresh:
            pass
        with pytest.raises(ac500.UsageError, match="nan"):
            watch.next(timeout=float("nan"))
        with pytest.raises(TimeoutError):
            watch.next(timeout=-1)


def test_every_reception_comes_on_request(plc):
    with plc.watch("Main.counter", on_reception=True) as watch:
        received = [value.received for value, _ in zip((v for v in watch if v.is_known), range(4))]
    assert len(set(received)) == 4


def test_a_watch_ends_with_its_plc(plc):
    watch = plc.watch("Main.counter")
    timer = threading.Timer(0.2, plc.close)
    timer.start()
    assert [value.name for value in watch if value.name != "Main.counter"] == []
    timer.join()


def test_a_wrong_name_is_told_at_once(plc):
    with pytest.raises(ac500.NameNotFoundError):
        plc.watch("Main.nothing")


def test_async_for_lets_the_loop_turn(plc):
    async def main():
        ticks = 0
        seen = []

        async def tick():
            nonlocal ticks
            while True:
                await asyncio.sleep(0.01)
                ticks += 1

        task = asyncio.create_task(tick())
        async with plc.watch("Main.ramp") as watch:
            async for value in watch:
                if value.is_known:
                    seen.append(value.latest)
                if len(seen) == 5:
                    break
        task.cancel()
        return seen, ticks

    seen, ticks = asyncio.run(asyncio.wait_for(main(), 30))
    assert len(set(seen)) == 5
    assert ticks > 3


def test_async_for_ends_with_its_plc(plc):
    async def main():
        asyncio.get_running_loop().call_later(0.2, plc.close)
        return [value.name async for value in plc.watch("Main.counter")]

    assert set(asyncio.run(asyncio.wait_for(main(), 30))) <= {"Main.counter"}


async def seen_by(watch, seen):
    async for value in watch:
        seen.append(value.name)


async def first_of(seen):
    while not seen:
        await asyncio.sleep(0.01)


def test_a_watch_that_is_opened_where_another_was_just_closed_gets_its_values(plc):
    async def main():
        first, seen = plc.watch("Main.setpoint"), []
        task = asyncio.create_task(seen_by(first, seen))
        await first_of(seen)
        first.close()
        async with plc.watch("Main.counter") as second:
            value = await second.__anext__()
        await task
        return value.name, set(seen)

    assert asyncio.run(asyncio.wait_for(main(), 30)) == ("Main.counter", {"Main.setpoint"})


def test_a_second_task_may_not_wait_for_the_same_watch_and_the_first_goes_on(plc):
    async def main():
        watch, seen = plc.watch("Main.setpoint"), []
        task = asyncio.create_task(seen_by(watch, seen))
        await first_of(seen)
        with pytest.raises(ac500.UsageError, match="one task at a time"):
            await asyncio.wait_for(watch.__anext__(), 10)
        seen.clear()
        plc.write("Main.setpoint", 30.5)
        await first_of(seen)
        task.cancel()
        with pytest.raises(asyncio.CancelledError):
            await task
        plc.write("Main.setpoint", 31.5)
        while (await watch.__anext__()).latest != 31.5:
            pass

    asyncio.run(asyncio.wait_for(main(), 30))


def test_a_watch_may_outlive_the_loop_that_waited_for_it(plc):
    watch, seen = plc.watch("Main.setpoint"), []
    loop = asyncio.new_event_loop()
    loop.set_exception_handler(lambda *_: None)  # it is told of the task that never ends
    task = loop.create_task(seen_by(watch, seen))
    loop.run_until_complete(asyncio.wait_for(first_of(seen), 30))
    loop.close()
    watch.close()
    with pytest.raises(StopIteration):
        next(watch)
    assert not task.done()


def test_a_watch_that_is_closed_just_before_the_loop_waits_ends(plc):
    watch = plc.watch("Main.setpoint")
    take = watch._take

    def take_and_close(milliseconds):
        came = take(milliseconds)
        if not came:
            watch.close()
        return came

    watch._take = take_and_close

    async def main():
        return {value.name async for value in watch}

    assert asyncio.run(asyncio.wait_for(main(), 30)) <= {"Main.setpoint"}
