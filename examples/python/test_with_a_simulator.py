"""Tests of a program of yours, with a simulated PLC and a fault. Run it with pytest.

SYMBOLS in the environment is the symbol file.
"""
import os

import ac500
import ac500.simulator
import pytest

SYMBOLS = os.environ["SYMBOLS"]


def too_warm(plc: ac500.Plc) -> bool:
    """The program under test: alarms also when nobody can know."""
    try:
        return plc.read("Main.setpoint") > 30
    except (ac500.TcpError, ac500.HandshakeError, ac500.RequestError):
        return True


@pytest.fixture
def simulated():
    with ac500.simulator.start(SYMBOLS) as running:
        yield running


@pytest.fixture
def plc(simulated):
    with ac500.connect(simulated.address, SYMBOLS, time_limit=2, reply_timeout=0.3) as opened:
        yield opened


def test_warm_and_cold(simulated, plc):
    simulated["Main.setpoint"] = 21.5
    assert not too_warm(plc)
    simulated["Main.setpoint"] = 30.5
    assert too_warm(plc)


def test_a_plc_that_says_nothing(simulated, plc):
    simulated["Main.setpoint"] = 21.5
    simulated.inject("silence:count=1000")
    assert too_warm(plc)
    assert simulated.counters()["writes"] == 0
