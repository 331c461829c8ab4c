"""A process that forks: the child ends in peace, and its parent goes on."""

import os
import signal
import subprocess
import sys

import pytest
from conftest import PACE, PLANT, PROJECT

pytestmark = pytest.mark.skipif(
    "asan" in os.environ.get("LD_PRELOAD", ""),
    reason="the allocator of the address sanitizer has locks, which nobody lets go of in the child of a fork",
)

BEGIN = f"""
import os, sys
sys.path.insert(0, {str(PROJECT / "python")!r})
import ac500, ac500.simulator
PLANT = {str(PLANT)!r}


def try_in_child(*uses):
    for use in uses:
        try:
            print(use())
        except Exception as error:
            print(type(error).__name__, error)
    sys.stdout.flush()


def wait_for_child(pid):
    print("child", os.waitpid(pid, 0)[1], flush=True)


"""


def run(script, simulator):
    """What it printed; nothing may stand on its standard error."""
    begin = BEGIN + f"ADDRESS = {simulator().address!r}\n"
    # Later versions of Python warn of every fork() beside threads, which is what is tried here.
    process = subprocess.Popen([sys.executable, "-B", "-W", "ignore::DeprecationWarning", "-c", begin + script],
                               stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, start_new_session=True)
    try:
        printed, errors = process.communicate(timeout=60 * PACE)
    except subprocess.TimeoutExpired:
        os.killpg(process.pid, signal.SIGKILL)  # a child that hangs, too
        process.communicate()
        raise
    assert (process.returncode, errors) == (0, "")
    return printed


def test_a_child_ends_without_a_word_and_leaves_all_to_its_parent(simulator):
    assert run("""
plc = ac500.connect(ADDRESS, PLANT)
watch = plc.watch("Main.counter", on_reception=True)
watch.next(timeout=10)
pid = os.fork()
if pid == 0:
    sys.exit(0)
wait_for_child(pid)
print(plc.read("Main.counter"), next(value for value in watch if value.is_fresh).value)
""", simulator) == "child 0\n7 7\n"


def test_a_child_may_leave_the_blocks_of_its_parent(simulator):
    assert run("""
with ac500.connect(ADDRESS, PLANT) as plc:
    with plc.watch("Main.counter"):
        pid = os.fork()
        if pid == 0:
            sys.exit(3)
        wait_for_child(pid)
    print(plc.read("Main.counter"))
""", simulator) == "child 768\n7\n"


TOLD = "UsageError usage: this {} was opened before a fork(): the child cannot use it; open one in the child\n"


def test_a_child_is_told_that_it_cannot_use_the_plc_of_its_parent(simulator):
    assert run("""
plc = ac500.connect(ADDRESS, PLANT)
plc.read("Main.counter")
plc._lock.acquire()  # as if another thread were in a call: it never lets go in the child
pid = os.fork()
if pid == 0:
    try_in_child(lambda: plc.read("Main.counter"), lambda: plc.write("Main.counter", 8), lambda: plc.tag("Main.enable"),
                 plc.status, plc.close, plc.status)
    sys.exit(0)
wait_for_child(pid)
plc._lock.release()
print(plc.read("Main.counter"))
""", simulator) == 4 * TOLD.format("PLC") + "None\nClosedError closed: the PLC was closed\nchild 0\n7\n"


@pytest.mark.parametrize("use, printed", [
    ("watch.next(timeout=1)", TOLD.format("watch")),
    ("asyncio.run(watch.__anext__())", TOLD.format("watch")),
    ("watch.close()", "None\n"),
    ("ac500.connect(ADDRESS, PLANT).read('Main.counter')", "7\n"),
])
def test_a_child_waits_for_nothing_and_opens_its_own(simulator, use, printed):
    assert run(f"""
import asyncio
plc = ac500.connect(ADDRESS, PLANT)
watch = plc.watch("Main.counter")
watch._lock.acquire()
pid = os.fork()
if pid == 0:
    try_in_child(lambda: {use})
    sys.exit(0)
wait_for_child(pid)
watch._lock.release()
""", simulator) == printed + "child 0\n"


def test_a_child_leaves_the_simulator_to_its_parent(simulator):
    assert run("""
simulated = ac500.simulator.start(PLANT)
pid = os.fork()
if pid == 0:
    try_in_child(lambda: simulated["Main.counter"], simulated.stop)
    sys.exit(0)
wait_for_child(pid)
print(simulated["Main.counter"])
""", simulator) == TOLD.format("simulator") + "None\nchild 0\n7.0\n"
