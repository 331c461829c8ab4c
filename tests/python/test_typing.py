"""The package is typed, strictly, for the oldest Python that it promises."""

import os
import subprocess

from conftest import PROJECT


def test_mypy_finds_nothing(tmp_path):
    environment = {name: value for name, value in os.environ.items() if name != "LD_PRELOAD"}
    result = subprocess.run(
        ["mypy", "--strict", "--python-version", "3.9", "--cache-dir", str(tmp_path), str(PROJECT / "python" / "ac500")],
        capture_output=True, text=True, env=environment)
    assert result.returncode == 0, result.stdout
