#!/usr/bin/env python3
"""How scripts/run-stages orders stages, counts those that cannot run, and refuses a disk that is too small."""
import contextlib
import importlib.machinery
import importlib.util
import io
import os
import pathlib
import sys
import time
import unittest
from collections import namedtuple
from unittest import mock

SCRIPTS = pathlib.Path(__file__).resolve().parents[2] / "scripts"
sys.path.insert(0, str(SCRIPTS))
sys.dont_write_bytecode = True
loader = importlib.machinery.SourceFileLoader("run_stages", str(SCRIPTS / "run-stages"))
run_stages = importlib.util.module_from_spec(importlib.util.spec_from_loader("run_stages", loader))
loader.exec_module(run_stages)

Usage = namedtuple("Usage", "total used free")


class Space(unittest.TestCase):
    def lack(self, targets, free, there):
        with mock.patch.object(run_stages.shutil, "disk_usage", return_value=Usage(250 * 10**9, 0, free)), \
                mock.patch.object(run_stages, "run", return_value=f"{there}\t/build\n"):
            return run_stages.lack_of_space(targets)

    def test_a_small_disk_is_refused_with_what_is_free_and_what_is_needed(self):
        self.assertIn("/build: 2.5 GB are free, and this run needs about 5.0 GB: make room there",
                      self.lack(["native-checked"], 2_500_000_000, 1_000_000_000))

    def test_what_an_earlier_run_left_is_not_needed_again(self):
        self.assertEqual(self.lack(["native-checked"], 2_500_000_000, 4_000_000_000), "")

    def test_room_enough_is_no_matter(self):
        self.assertEqual(self.lack(["native", "armhf", "armhf-checked", "armel", "qt4", "gates"], 60 * 10**9, 0), "")


class Stages(unittest.TestCase):
    def run_all(self, *stages):
        output = io.StringIO()
        with contextlib.redirect_stdout(output):
            run_stages.Runner(list(stages), time.time()).run()
        return output.getvalue()

    def test_what_needs_a_stage_that_broke_is_left_out_and_counts_as_failed(self):
        stages = [run_stages.Stage("a: compile", ("false",), "compile"),
                  run_stages.Stage("a: tests", ("true",), needs=("a: compile",)),
                  run_stages.Stage("b", ("true",))]
        output = self.run_all(*stages)
        self.assertEqual([(stage.state, stage.failed) for stage in stages], [("broken", 1), ("left out", 1), ("ended", 0)])
        self.assertIn("a: tests is left out and counts as failed: what it needs did not compile.", output)

    def test_a_gate_that_leaves_no_result_has_failed(self):
        gate = run_stages.Stage("gate", ("true",), result="build/no-such-gate-result.txt")
        self.run_all(gate)
        self.assertEqual((gate.passed, gate.failed), (0, 1))

    def test_one_stage_of_low_priority_runs_beside_those_that_keep_all_processors_busy(self):
        lower = min(os.nice(0) + 10, 19)
        stages = [run_stages.Stage("tests", ("sleep", "0.6"), processors=99),
                  run_stages.Stage("other tests", ("true",), processors=99),
                  run_stages.Stage("compile", ("sleep", "0.2"), background=True),
                  run_stages.Stage("packages", ("sh", "-c", f'[ "$(nice)" -eq {lower} ]'), background=True)]
        with mock.patch.object(run_stages.os, "cpu_count", return_value=2):
            self.run_all(*stages)
        tests, others, compiling, packages = stages
        self.assertEqual([stage.state for stage in stages], ["ended"] * 4)
        end_of_tests = tests.began + tests.seconds
        self.assertLess(compiling.began, end_of_tests)
        self.assertGreaterEqual(packages.began, compiling.began + compiling.seconds)
        self.assertGreaterEqual(others.began, end_of_tests)
        self.assertEqual([stage.failed for stage in stages], [0] * 4)

    def test_of_a_whole_run_compiling_and_packages_alone_have_low_priority(self):
        stages = run_stages.stages_of("native", ".", True) + run_stages.gate_stages()
        background = {stage.name for stage in stages if stage.background}
        self.assertEqual(background, {stage.name for stage in stages if stage.kind == "compile"} | {"packages"})
        self.assertEqual({stage.name: stage.processors for stage in stages if stage.name.endswith(": tests")},
                         {"debug: tests": 2, "release: tests": 2})


if __name__ == "__main__":
    sys.exit(unittest.main(verbosity=0))
