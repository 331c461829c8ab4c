"""The simulated PLC inside a program."""

import ac500
import ac500.simulator
import pytest
from conftest import PACE, PLANT


@pytest.fixture
def simulated():
    with ac500.simulator.start(PLANT) as running:
        yield running


def test_variables_are_set_and_looked_at_from_both_sides(simulated):
    with ac500.connect(simulated.address, PLANT, time_limit=5 * PACE) as plc:
        simulated["Main.counter"] = 65535
        simulated["Main.setpoint"] = 5.25
        simulated["Main.enable"] = False
        simulated["Main.batch"] = "B 12"
        simulated["Main.total"] = 9007199254740993
        simulated["Main.recipe[3]"] = "16#7F"
        assert plc.read_many(["Main.counter", "Main.setpoint", "Main.enable", "Main.batch", "Main.total",
                              "Main.recipe[3]"]) == {
            "Main.counter": 65535, "Main.setpoint": 5.25, "Main.enable": False, "Main.batch": "B 12",
            "Main.total": 9007199254740993, "Main.recipe[3]": 127}
        plc.write("Main.balance", -7)
        assert simulated["Main.balance"] == -7.0
        assert simulated.text("Main.balance") == "-7"
        assert simulated.text("Main.batch") == '"B 12"'


def test_faults_are_injected_and_counted(simulated):
    with ac500.connect(simulated.address, PLANT, reply_timeout=0.2 * PACE, time_limit=5 * PACE) as plc:
        assert plc.read("Main.counter") == 7
        simulated.inject("silence:count=1")
        try:
            plc.read("Main.counter")
        except ac500.RequestError as error:  # unless it was a reply to something else that did not come
            assert "no reply within" in str(error)
        assert plc.read("Main.counter") == 7
        assert simulated.counters()["faults"] == 1
        assert plc.status().timeouts == 1
        simulated.drop_connections()
        assert plc.read("Main.counter") == 7
        simulated.restart()
        assert plc.read("Main.counter") == 7
        assert plc.status().connections >= 3


def test_faults_from_the_start():
    with ac500.simulator.start(PLANT, faults=["delay:ms=1"], seed=7) as simulated:
        with ac500.connect(simulated.address, PLANT) as plc:
            assert plc.read("Main.counter") == 7
        assert simulated.counters()["faults"] > 0


def test_what_is_wrong_is_told(simulated):
    with pytest.raises(ac500.FileError, match="nowhere.json"):
        ac500.simulator.start("nowhere.json")
    with pytest.raises(ac500.UsageError, match="explode"):
        ac500.simulator.start(PLANT, faults=["explode"])
    with pytest.raises(ac500.UsageError):
        simulated.inject("explode")
    with pytest.raises(ac500.NameNotFoundError):
        simulated["Main.nothing"] = 1
    with pytest.raises(ac500.NameNotFoundError):
        simulated["Main.\ud800"] = 1
    with pytest.raises(ac500.UsageError):
        simulated["Main.counter"] = 10**5000
    with pytest.raises(ac500.UsageError):
        simulated["Main.counter"] = "warm"
    with pytest.raises(ac500.UsageError):
        simulated["Main.counter"] = [1]
    simulated.stop()
    simulated.stop()
    with pytest.raises(ac500.ClosedError):
        simulated["Main.counter"]
