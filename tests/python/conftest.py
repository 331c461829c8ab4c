"""What the tests share: a simulated PLC, and a connection to it. The environment says where things are (CMakeLists.txt)."""

import os
import pathlib
import re
import subprocess
import sys

import pytest

PROJECT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(PROJECT / "python"))

import ac500  # noqa: E402  (the one of this project, not an installed one)

PLANT = PROJECT / "tests" / "python" / "plant.json"
PACE = int(os.environ.get("AC500_TEST_PACE", "1"))


class Simulator:
    """ac500-sim on a free port; its events are kept."""

    def __init__(self, *options):
        self.process = subprocess.Popen(
            [os.environ["AC500_SIM"], "--symbols", str(PLANT), "--port", "0", "--verbose", *options],
            stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        first = self.process.stdout.readline()
        self.address = re.search(r"\S+:\d+", first).group()
        self.said = None

    def stop(self):
        """Ends it. What it said, a line for each request."""
        if self.said is None:
            self.process.terminate()
            self.said = self.process.communicate(timeout=20 * PACE)[1]
        return self.said


@pytest.fixture
def simulator():
    started = []

    def start(*options):
        started.append(Simulator(*options))
        return started[-1]

    yield start
    for each in started:
        each.stop()


@pytest.fixture
def plc(simulator):
    with ac500.connect(simulator().address, PLANT, cycle=0.02, time_limit=5.0 * PACE) as opened:
        yield opened
