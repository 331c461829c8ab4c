"""Connections, tags, writes that are not done, and what is told of it."""

import threading
import time

import ac500
import ac500.simulator
import pytest
from conftest import PACE, PLANT


def test_names_near_a_wrong_one_are_told(plc):
    with pytest.raises(ac500.NameNotFoundError) as raised:
        plc.read("Main.conter")
    assert str(raised.value).startswith("name: ")
    assert "Main.counter" in str(raised.value)
    assert isinstance(raised.value, KeyError)


@pytest.mark.parametrize("use", [
    lambda plc: plc.read("Main.\ud800x"), lambda plc: plc.tag("Main.\ud800x"), lambda plc: plc.write("Main.\ud800x", 1),
    lambda plc: plc.watch("Main.counter", "Main.\ud800x")])
def test_what_no_file_can_hold_is_the_name_of_no_tag(plc, use):
    with pytest.raises(ac500.NameNotFoundError, match="ud800x"):
        use(plc)


def test_many_names_are_read_together_and_each_is_told_once(plc):
    assert plc.read_many(["Main.counter", "Main.counter"]) == {"Main.counter": 7}
    with pytest.raises(ac500.UsageError, match="as a list"):
        plc.read_many("Main.counter")
    with pytest.raises(TypeError):
        plc.read(7)


def test_tags_are_what_the_symbol_file_says(plc):
    tags = {tag.name: tag for tag in plc.tags("Main.s*")}
    assert list(tags) == ["Main.setpoint", "Main.shift", "Main.stamp", "Main.serial", "Main.share"]
    setpoint = tags["Main.setpoint"]
    assert (setpoint.type, setpoint.unit, setpoint.minimum, setpoint.maximum) == ("REAL", "°C", 5.0, 90.0)
    assert (setpoint.kind, setpoint.elements, setpoint.is_list) == (ac500.Kind.DOUBLE, 1, False)
    assert tags["Main.serial"].is_readonly and not setpoint.is_readonly
    assert tags["Main.serial"].minimum is None
    recipe = plc.tag("Main.recipe")
    assert (recipe.kind, recipe.elements, recipe.is_list) == (ac500.Kind.INT64, 5, True)
    assert plc.tag("Main.counter").comment == "cycles"
    assert len(plc.tags()) == 19


def test_a_write_under_an_expectation(plc):
    plc.write("Main.counter", 8, expect=7)
    with pytest.raises(ac500.WriteError) as raised:
        plc.write("Main.counter", 9, expect=7)
    assert raised.value.outcome == "not sent"
    assert raised.value.outcomes["Main.counter"].outcome == "not sent"
    assert plc.read("Main.counter") == 8
    plc.write("Main.setpoint", 30.5, expect=21.5)
    plc.write("Main.mode", 0, expect=2)
    plc.write("Main.batch", "next", expect="Batch 7")


def test_a_write_that_the_program_overwrites_is_told_when_it_is_read_back(plc):
    with pytest.raises(ac500.WriteError) as raised:
        plc.write("Main.fixed", 4, read_back=True)
    assert isinstance(raised.value, ac500.RequestError)
    assert raised.value.outcome == "done"
    assert "3" in str(raised.value)


def test_a_write_that_the_plc_refuses(simulator, tmp_path):
    larger = tmp_path / "larger.json"  # than the PLC is
    larger.write_text(PLANT.read_text().replace('"bytes": 1024', '"bytes": 4096')
                      .replace('"name": "counter", "type": "UINT", "area": 1, "offset": 0',
                               '"name": "counter", "type": "UINT", "area": 1, "offset": 4000'))
    with ac500.connect(simulator().address, larger) as plc:
        with pytest.raises(ac500.WriteError) as raised:
            plc.write("Main.counter", 9)
        assert raised.value.layer == "request"
        assert raised.value.outcome == "refused"


def test_a_write_of_which_nobody_knows(simulator):
    simulated = simulator("--fault", "reset:service=write")
    with ac500.connect(simulated.address, PLANT, retry_limit=0) as plc:
        with pytest.raises(ac500.WriteError) as raised:
            plc.write("Main.counter", 9)
        assert raised.value.outcome == "unknown"
        assert raised.value.outcomes["Main.counter"].outcome == "unknown"


def test_nobody_listening_is_told_within_the_time_limit_and_nothing_is_sent_later():
    began = time.monotonic()
    with ac500.connect("127.0.0.1:1", PLANT, time_limit=0.6) as plc:
        with pytest.raises(ac500.TcpError) as raised:
            plc.read("Main.counter")
        assert str(raised.value).startswith("tcp: ")
        with pytest.raises(ac500.TcpError) as written:
            plc.write("Main.counter", 1)
        assert isinstance(written.value, ac500.WriteError)
        assert written.value.outcome == "not sent"
        assert plc.status().is_online is False
        assert plc.status().last_failure.startswith("tcp: ")
        with pytest.raises(ac500.TcpError):
            plc.wait_online(0.1)
    assert time.monotonic() - began < 2.5 * PACE


def test_waiting_for_a_session_may_have_no_end(simulator):
    with ac500.connect("127.0.0.1:1", PLANT) as plc:
        timer = threading.Timer(0.5, plc.close)
        timer.start()
        with pytest.raises(ac500.ClosedError):
            plc.wait_online(float("inf"))
        timer.join()
    with ac500.connect(simulator().address, PLANT) as plc:
        plc.wait_online(float("inf"))
        assert plc.status().is_online
        with pytest.raises(ac500.UsageError, match="nan"):
            plc.wait_online(float("nan"))


def test_a_silent_plc_takes_no_longer_than_the_time_limit(simulator):
    simulated = simulator("--fault", "silence")
    with ac500.connect(simulated.address, PLANT, time_limit=0.5, reply_timeout=5) as plc:
        began = time.monotonic()
        with pytest.raises((ac500.HandshakeError, ac500.RequestError)):
            plc.read("Main.counter")
        assert time.monotonic() - began < 1.5 * PACE


def test_files_and_settings_that_are_wrong():
    with pytest.raises(ac500.FileError, match="nowhere.json"):
        ac500.connect("127.0.0.1", "nowhere.json")
    with pytest.raises(ac500.FileError, match="nowhere.so"):
        ac500.connect("127.0.0.1", PLANT, driver="/nowhere.so")
    with pytest.raises(ac500.UsageError):
        ac500.connect("127.0.0.1:99999", PLANT)
    with pytest.raises(ac500.UsageError, match="time_limit is -1"):
        ac500.connect("127.0.0.1", PLANT, time_limit=-1)
    with pytest.raises(ac500.UsageError, match="character 0"):
        ac500.connect("127.0.0.1\0", PLANT)


def test_under_another_program_no_value_passes_and_nothing_is_written(tmp_path):
    guarded = tmp_path / "guarded.json"
    guarded.write_text(PLANT.read_text().replace('"scopes": [', '"guard": [{"tag": "Main.serial", "value": 4711}], "scopes": [', 1))
    with ac500.simulator.start(guarded) as simulated, ac500.connect(simulated.address, guarded, cycle=0.02) as plc:
        assert plc.read("Main.counter") == 7
        simulated["Main.serial"] = 4712
        with pytest.raises(ac500.ProgramError) as raised:
            plc.read("Main.counter")
        assert "4712" in str(raised.value) and "4711" in str(raised.value)
        with pytest.raises(ac500.WriteError) as written:
            plc.write("Main.counter", 8)
        assert isinstance(written.value, ac500.ProgramError)
        assert written.value.outcome == "not sent"
        assert simulated["Main.counter"] == 7
        with plc.watch("Main.counter") as watch:
            suspect = next(value for value in watch if value.suspicion)
            with pytest.raises(ac500.ProgramError):
                suspect.latest
            simulated["Main.serial"] = 4711
            assert next(value for value in watch if value.is_fresh).value == 7


def test_a_closed_plc_says_so(simulator):
    plc = ac500.connect(simulator().address, PLANT)
    assert plc.read("Main.counter") == 7
    plc.close()
    plc.close()
    for use in (lambda: plc.read("Main.counter"), plc.status, plc.tags, lambda: plc.write("Main.counter", 1)):
        with pytest.raises(ac500.ClosedError):
            use()
    assert "closed" in repr(plc)


def test_two_plcs_at_once(simulator):
    first, second = simulator(), simulator()
    with ac500.connect(first.address, PLANT) as one, ac500.connect(second.address, PLANT) as other:
        one.write("Main.counter", 100)
        other.write("Main.counter", 200)
        assert (one.read("Main.counter"), other.read("Main.counter")) == (100, 200)


def test_threads_share_one_plc(plc):
    wrong = []

    def work(number):
        try:
            for _ in range(5):
                plc.write(f"Main.recipe[{number}]", number)
                if plc.read(f"Main.recipe[{number}]") != number:
                    wrong.append(number)
        except ac500.Error as error:
            wrong.append(error)

    threads = [threading.Thread(target=work, args=(number,)) for number in range(1, 6)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert wrong == []
    assert plc.read("Main.recipe") == [1, 2, 3, 4, 5]


def test_status_counts(plc):
    plc.wait_online(10)
    before = plc.status()
    assert before.is_online and before.last_failure is None
    plc.read("Main.counter")
    after = plc.status()
    assert after.frames_accepted > before.frames_accepted
    assert after.handshakes == before.handshakes == 1
    assert after.median_cycle is None
