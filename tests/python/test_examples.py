"""Every example runs, and does what it says."""

import csv
import os
import subprocess
import sys

from conftest import PLANT, PROJECT

EXAMPLES = PROJECT / "examples" / "python"


def run(name, *arguments, code=0):
    environment = {**os.environ, "PYTHONPATH": str(PROJECT / "python")}
    result = subprocess.run([sys.executable, str(EXAMPLES / name), *map(str, arguments)], capture_output=True, text=True,
                            env=environment, timeout=120)
    assert result.returncode == code, result.stdout + result.stderr
    return result.stdout


def test_every_example_is_run_here():
    text = open(__file__, encoding="utf-8").read()
    for path in EXAMPLES.glob("*.py"):
        assert f'"{path.name}"' in text, f"{path.name} is run by no test"


def test_without_arguments_each_says_how_it_is_called():
    environment = {**os.environ, "PYTHONPATH": str(PROJECT / "python")}
    for path in EXAMPLES.glob("*.py"):
        if "sys.argv" in path.read_text():
            result = subprocess.run([sys.executable, str(path)], capture_output=True, text=True, env=environment, timeout=120)
            assert result.returncode == 1, path.name
            assert f"\n    {path.name} " in result.stderr, path.name
            assert "Traceback" not in result.stderr, path.name


def test_read_a_value(simulator):
    out = run("read_a_value.py", simulator().address, PLANT, "Main.setpoint")
    assert out.startswith("Main.setpoint = 21.5 °C, received 0.")


def test_write_if_unchanged(simulator):
    address = simulator().address
    assert run("write_if_unchanged.py", address, PLANT, "Main.counter") == "Main.counter: 7 -> 8\n"
    result = run("write_if_unchanged.py", address, PLANT, "Main.fixed", code=1)
    assert result == ""


def test_watch_values(simulator):
    out = run("watch_values.py", simulator().address, PLANT, 5, "Main.ramp")
    assert len(out.splitlines()) == 5
    assert "fresh" in out


def test_watch_in_a_loop(simulator):
    out = run("watch_in_a_loop.py", simulator().address, PLANT, 15, "Main.ramp")
    assert out.count("Main.ramp = ") == 15
    assert "still here" in out


def test_log_to_csv(simulator, tmp_path):
    path = tmp_path / "log.csv"
    run("log_to_csv.py", simulator().address, PLANT, path, 3, 0.01, "Main.counter", "Main.setpoint")
    rows = list(csv.reader(path.open()))
    assert rows[0] == ["time", "Main.counter", "Main.setpoint"]
    assert [row[1:] for row in rows[1:]] == [["7", "21.5"]] * 3


def test_plot_trend(simulator, tmp_path):
    picture = tmp_path / "trend.png"
    out = run("plot_trend.py", simulator().address, PLANT, picture, 0.5, "Main.ramp", "Main.setpoint")
    assert picture.read_bytes()[:8] == b"\x89PNG\r\n\x1a\n"
    assert int(out.split()[-2]) >= 2


def test_compare_two_plcs(simulator):
    first, second = simulator().address, simulator().address
    run("write_if_unchanged.py", first, PLANT, "Main.balance")
    out = run("compare_two_plcs.py", first, second, PLANT, "Main.*", code=1)
    assert "Main.balance: -4 here, -5 there\n" in out


def test_list_tags():
    out = run("list_tags.py", PLANT, "Main.setpoint")
    assert out.split() == ["Main.setpoint", "REAL", "°C", "5", "to", "90"]


def test_wait_for_a_limit(simulator):
    address = simulator().address
    assert run("wait_for_a_limit.py", address, PLANT, "Main.ramp", 3, 20).startswith("Main.ramp is ")
    assert run("wait_for_a_limit.py", address, PLANT, "Main.counter", 8, 4, code=1) == "Main.counter is still 7\n"
    assert run("wait_for_a_limit.py", "127.0.0.1:1", PLANT, "Main.counter", 8, 0.3, code=2)


def test_test_with_a_simulator():
    environment = {**os.environ, "PYTHONPATH": str(PROJECT / "python"), "SYMBOLS": str(PLANT)}
    result = subprocess.run([sys.executable, "-B", "-m", "pytest", "-q", "-p", "no:cacheprovider",
                             str(EXAMPLES / "test_with_a_simulator.py")],
                            capture_output=True, text=True, env=environment, timeout=120)
    assert result.returncode == 0, result.stdout + result.stderr
    assert "2 passed" in result.stdout


def test_show_status(simulator):
    out = run("show_status.py", simulator().address, PLANT, 0.5, "Main.counter")
    assert "nothing has failed" in out
    assert "a pass takes" in out
