"""The binding against the header: no function is missing, and every record has the layout that a compiler gives it."""

import ctypes
import os
import re
import subprocess

import pytest
from conftest import PROJECT

from ac500 import _native, simulator

HEADER = PROJECT / "tools" / "client" / "ac500_client.h"
SIMULATOR_HEADER = PROJECT / "tools" / "client" / "ac500_simulator.h"
STRUCTURES = {**_native.STRUCTURES, **simulator.STRUCTURES}
LIBRARIES = [(HEADER, _native.FUNCTIONS, _native.LEFT_OUT), (SIMULATOR_HEADER, simulator.FUNCTIONS, set())]


@pytest.mark.parametrize("header, functions, left_out", LIBRARIES)
def test_every_function_is_bound_or_left_out_on_purpose(header, functions, left_out):
    declared = set(re.findall(r"^AC500_CLIENT_API [^;]*?\b(ac500_\w+)\(", header.read_text(), re.M))
    bound = {name for name, _, _ in functions}
    assert len(bound) == len(functions)
    assert bound | left_out == declared
    assert not bound & left_out


@pytest.mark.parametrize("header, functions, left_out", LIBRARIES)
def test_functions_take_as_many_arguments_as_in_c(header, functions, left_out):
    text = re.sub(r"/\*.*?\*/", "", header.read_text(), flags=re.S)
    for name, _, arguments in functions:
        inside = re.search(rf"\b{name}\(([^;]*)\);", text).group(1).strip()
        assert len(arguments) == (0 if inside == "void" else inside.count(",") + 1), name


def test_records_have_the_layout_of_the_compiler(tmp_path):
    lines = []
    for name, structure in STRUCTURES.items():
        lines.append(f'printf("{name} %zu\\n", sizeof({name}));')
        lines += [f'printf("{name}.{field[0]} %zu\\n", offsetof({name}, {field[0]}));' for field in structure._fields_]
    source = tmp_path / "layout.c"
    source.write_text('#include <stdio.h>\n#include "tools/client/ac500_simulator.h"\nint main(void) {\n'
                      + "\n".join(lines) + "\nreturn 0;\n}\n")
    compiler = os.environ.get("CC", "gcc")
    environment = {name: value for name, value in os.environ.items() if name != "LD_PRELOAD"}
    subprocess.run([compiler, "-I", str(PROJECT), "-o", str(tmp_path / "layout"), str(source)], check=True,
                   env=environment)
    printed = subprocess.run([str(tmp_path / "layout")], check=True, capture_output=True, text=True, env=environment).stdout
    expected = []
    for name, structure in STRUCTURES.items():
        expected.append(f"{name} {ctypes.sizeof(structure)}")
        expected += [f"{name}.{field[0]} {getattr(structure, field[0]).offset}" for field in structure._fields_]
    assert printed.splitlines() == expected


def test_numbers_of_results_are_those_of_the_header():
    numbers = dict(re.findall(r"^\s*AC500_(\w+) = (\d+)", HEADER.read_text(), re.M))
    for name in ("OK", "USAGE", "FILE", "NAME", "TCP", "HANDSHAKE", "REQUEST", "OUTPUT", "MEMORY", "CLOSED", "INTERNAL",
                 "NOTHING", "PROGRAM"):
        assert getattr(_native, name) == int(numbers[name]), name


def test_a_library_that_cannot_be_loaded_is_told(monkeypatch):
    from ac500.errors import FileError
    monkeypatch.setenv("AC500_CLIENT", "/nowhere/libac500client.so")
    with pytest.raises(FileError, match="AC500_CLIENT"):
        _native.load_library("AC500_CLIENT", _native.SONAME)
