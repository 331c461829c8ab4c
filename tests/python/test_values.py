"""Values in their Python types, there and back, and what does not fit."""

import datetime
import decimal

import ac500
import ac500.simulator
import numpy
import pytest
from conftest import PLANT

HELD = {
    "Main.counter": 7,
    "Main.setpoint": 21.5,
    "Main.enable": True,
    "Main.balance": -5,
    "Main.energy": 18446744073709551615,
    "Main.total": -9223372036854775808,
    "Main.batch": "Batch 7",
    "Main.recipe": [1, -2, 0, 0, 5],
    "Main.recipe[2]": -2,
    "Main.flags": 5,
    "Main.flags.2": True,
    "Main.flags.b[1]": False,
    "Main.delay": datetime.timedelta(seconds=90),
    "Main.day": datetime.date(2026, 11, 22),
    "Main.shift": datetime.time(6, 0, 0, 500000),
    "Main.stamp": datetime.datetime(2026, 11, 22, 13, 4, 5),
    "Main.mode": 2,
    "Main.level": 21.5,
}

WRITTEN = {
    "Main.counter": 65535,
    "Main.setpoint": -0.0 + 5.25,
    "Main.enable": False,
    "Main.balance": -2147483648,
    "Main.energy": 0,
    "Main.total": 9223372036854775807,
    "Main.batch": "Ärger",
    "Main.recipe": [5, 4, 3, -2, -1],
    "Main.flags": 0xFFFE,
    "Main.delay": datetime.timedelta(days=1, milliseconds=1),
    "Main.day": datetime.date(1970, 1, 1),
    "Main.shift": datetime.time(23, 59, 59, 999000),
    "Main.stamp": datetime.datetime(2038, 1, 19, 3, 14, 8),
    "Main.mode": 1,
    "Main.level": -0.1,
}


def test_every_kind_is_read_in_its_python_type(plc):
    read = plc.read_many(HELD)
    assert read == HELD
    assert {name: type(value) for name, value in read.items()} == {name: type(value) for name, value in HELD.items()}


def test_every_kind_is_written_in_its_python_type(plc):
    outcomes = plc.write_many(WRITTEN, read_back=True)
    assert plc.read_many(WRITTEN) == WRITTEN
    assert {outcome.outcome for outcome in outcomes.values()} == {"done"}
    assert list(outcomes) == list(WRITTEN)


def test_booleans_of_numpy_are_booleans(plc):
    plc.write("Main.enable", numpy.bool_(False), expect=numpy.bool_(True))
    assert plc.read("Main.enable") is False


def test_a_bit_of_a_word_is_written_alone(plc):
    plc.write("Main.flags.b[1]", True)
    assert plc.read("Main.flags") == 7


def test_what_the_command_line_takes_as_text_is_taken_here(plc):
    plc.write_many({"Main.mode": "by hand", "Main.delay": "T#2s", "Main.recipe": "9,8,7,6,5"})
    assert plc.read_many(["Main.mode", "Main.delay", "Main.recipe"]) == {
        "Main.mode": 1, "Main.delay": datetime.timedelta(seconds=2), "Main.recipe": [9, 8, 7, 6, 5]}


def test_text_shows_unit_and_names(plc):
    values = plc.read_values(["Main.setpoint", "Main.mode", "Main.delay"])
    assert [value.text for value in values.values()] == ["21.5 °C", "automatic", "T#1m30s"]


@pytest.mark.parametrize("name, value, word", [
    ("Main.counter", 65536, "65536"),
    ("Main.counter", -1, "-1"),
    ("Main.counter", 1.0, "an int"),
    ("Main.counter", True, "an int"),
    ("Main.counter", None, "an int"),
    ("Main.counter", [1], "an int"),
    ("Main.enable", 2, "a bool"),
    ("Main.setpoint", "warm", "warm"),
    ("Main.setpoint", 90.5, "90"),
    ("Main.share", float("nan"), "allow_not_finite=True lets it pass"),
    ("Main.share", 10**400, "a number"),
    ("Main.share", decimal.Decimal("sNaN"), "a number"),
    ("Main.share", numpy.array([1.0]), "a number"),
    ("Main.balance", 2**63, "outside"),
    pytest.param("Main.balance", 10**5000, "outside", id="an int that Python does not print"),
    ("Main.balance", numpy.bool_(True), "an int"),
    ("Main.recipe", numpy.array([[1, 2]] * 5), "an int"),
    pytest.param("Main.batch", "\ud800", "half a character", id="half a character"),
    ("Main.batch", "x" * 21, "20"),
    ("Main.batch", "€", "€"),
    ("Main.batch", b"bytes", "a str"),
    ("Main.batch", "a\0b", "character 0"),
    ("Main.recipe", [1, 2, 3], "5"),
    ("Main.recipe", 1, "a list of 5"),
    ("Main.recipe", {1: 1, 2: 2, 3: 3, 4: 4, 5: 5}, "a list of 5"),
    ("Main.recipe", [1, 2, 3, 4, "5"], "an int"),
    ("Main.delay", 90, "timedelta"),
    ("Main.delay", datetime.timedelta(seconds=-1), "Main.delay"),
    ("Main.day", datetime.datetime(2026, 11, 22, 1), "datetime.date"),
    ("Main.stamp", datetime.datetime(2026, 11, 22, tzinfo=datetime.timezone.utc), "time zone"),
    ("Main.serial", 1, "read"),
])
def test_what_does_not_fit_is_refused_and_nothing_is_sent(simulator, name, value, word):
    simulated = simulator()
    with ac500.connect(simulated.address, PLANT) as plc:
        with pytest.raises(ac500.UsageError) as raised:
            plc.write_many({"Main.balance" if name != "Main.balance" else "Main.counter": 1, name: value})
        assert word in str(raised.value)
        assert str(raised.value).startswith("usage: ")
    assert "write" not in simulated.stop()


def test_every_kind_may_be_expected(plc):
    expected = {name: HELD[name] for name in WRITTEN}
    plc.write_many(WRITTEN, expect=expected)
    assert plc.read_many(WRITTEN) == WRITTEN
    with pytest.raises(ac500.WriteError) as raised:
        plc.write_many(expected, expect=expected)
    assert {outcome.outcome for outcome in raised.value.outcomes.values()} == {"not sent"}
    assert plc.read_many(WRITTEN) == WRITTEN


@pytest.mark.parametrize("expected", [
    (1, -2, 0, 0, 5), "1,-2,0,0,5", numpy.array([1, -2, 0, 0, 5], dtype=numpy.int16)])
def test_an_array_is_expected_in_every_form_that_is_written(plc, expected):
    plc.write("Main.recipe", range(3, 8), expect=expected)
    plc.write("Main.recipe", [0, 0, 0, 0, 0], expect=range(3, 8))
    assert plc.read("Main.recipe") == [0, 0, 0, 0, 0]


@pytest.mark.parametrize("held", ['"quoted"', "a\\b", "\\x41", " a, b ", '"', ""])
def test_a_text_is_expected_as_it_is_written(plc, held):
    plc.write("Main.batch", held)
    assert plc.read("Main.batch") == held
    with pytest.raises(ac500.WriteError) as raised:
        plc.write("Main.batch", "next", expect=f'"{held}"')
    assert raised.value.outcome == "not sent"
    plc.write("Main.batch", "next", expect=held)


def test_an_array_of_texts_may_be_expected(tmp_path):
    symbols = tmp_path / "plant.json"
    symbols.write_text(PLANT.read_text().replace(
        '"name": "share"', '"name": "names", "type": "STRING", "area": 1, "offset": 200, "array": [[1, 2]]},\n{"name": "share"'))
    with ac500.simulator.start(symbols) as simulated, ac500.connect(simulated.address, symbols) as plc:
        plc.write("Main.names[1]", "a, \"b\"")
        assert plc.read("Main.names") == ['a, "b"', ""]
        plc.write("Main.names", ["c", "d,"], expect=['a, "b"', ""])
        assert plc.read("Main.names") == ["c", "d,"]


# 1 + 2**-24 lies between two REALs, and goes to the even one; what its 17 digits say is a little more.
def test_a_number_is_expected_as_the_real_that_its_write_makes_of_it(plc):
    plc.write("Main.share", 1.000000059604644775390625)
    plc.write("Main.share", 2.0, expect=1.000000059604644775390625)
    assert plc.read("Main.share") == 2.0


@pytest.mark.parametrize("name, expected, word", [
    ("Main.delay", datetime.timedelta(seconds=90, microseconds=700), "milliseconds"),
    ("Main.delay", datetime.timedelta(seconds=-1), "milliseconds"),
    ("Main.delay", datetime.timedelta.max, "milliseconds"),
    ("Main.delay", 90, "timedelta"),
    ("Main.stamp", datetime.datetime(2026, 11, 22, 13, 4, 5, tzinfo=datetime.timezone.utc), "time zone"),
    ("Main.stamp", datetime.datetime(2026, 11, 22, 13, 4, 5, 500000), "seconds"),
    ("Main.stamp", datetime.datetime.max, "seconds"),
    ("Main.stamp", datetime.datetime.min, "seconds"),
    ("Main.shift", datetime.time(6, 0, 0, 500999), "milliseconds"),
    ("Main.shift", datetime.time(6, 0, 0, 500000, tzinfo=datetime.timezone.utc), "time zone"),
    ("Main.day", datetime.datetime(2026, 11, 22), "datetime.date"),
    ("Main.day", datetime.date(1969, 12, 31), "seconds"),
    ("Main.counter", 65543, "65543"),
    ("Main.counter", 7.0, "an int"),
    ("Main.counter", [7], "an int"),
    ("Main.enable", 2, "a bool"),
    ("Main.setpoint", "warm", "warm"),
    ("Main.setpoint", 10**400, "a number"),
    ("Main.recipe", 1, "a list of 5"),
    ("Main.recipe", {1: 1, -2: 2, 0: 3, 3: 4, 5: 5}, "a list of 5"),
    ("Main.recipe", [1, -2, 0], "5"),
    ("Main.recipe", [1, -2, 0, 0, "5"], "an int"),
    ("Main.batch", b"Batch 7", "a str"),
    ("Main.batch", "€", "€"),
])
def test_what_no_variable_can_hold_is_not_expected_and_nothing_is_sent(simulator, name, expected, word):
    simulated = simulator()
    with ac500.connect(simulated.address, PLANT) as plc:
        with pytest.raises(ac500.UsageError) as raised:
            plc.write(name, HELD[name], expect=expected)
        assert word in str(raised.value)
        assert not isinstance(raised.value, ac500.WriteError)
    assert "write" not in simulated.stop()


def test_a_stale_value_does_not_pass_as_a_number(simulator):
    simulated = simulator()
    with ac500.connect(simulated.address, PLANT, cycle=0.02) as plc, plc.watch("Main.counter") as watch:
        fresh = watch.next(timeout=10)
        while not fresh.is_fresh:
            fresh = watch.next(timeout=10)
        assert (fresh.value, int(fresh), float(fresh)) == (7, 7, 7.0)
        simulated.stop()
        stale = watch.next(timeout=10)
        while stale.state != ac500.State.STALE:
            stale = watch.next(timeout=10)
        for use in (lambda: stale.value, lambda: float(stale), lambda: int(stale)):
            with pytest.raises(ac500.NotFreshError, match="Main.counter is stale"):
                use()
        with pytest.raises(TypeError):
            bool(stale)
        assert stale.latest == 7
        assert stale.age >= stale.age_when_taken
        assert str(stale.state) == "stale"


def test_the_time_of_reception_is_in_utc(plc):
    before = datetime.datetime.now(datetime.timezone.utc)
    value = plc.read_values(["Main.counter"])["Main.counter"]
    after = datetime.datetime.now(datetime.timezone.utc)
    second = datetime.timedelta(seconds=1)
    assert before - second <= value.received <= after + second
    assert datetime.timedelta(0) <= value.age_when_taken <= after - before + second
