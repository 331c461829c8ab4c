#!/usr/bin/env python3
"""What scripts/bench makes of measured numbers: ratios of one round, medians over runs, and verdicts that runs share or
do not share."""
import os
import sys
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent.parent
os.chdir(ROOT)
sys.path.insert(0, str(ROOT / "scripts"))

from lib.bench_figures import Figures, Spread, runs_for_page  # noqa: E402
from lib.bench_goals import GOALS, Goal, scenarios  # noqa: E402
from lib.bench_report import cells, goal_cells  # noqa: E402
from lib.bench_scenarios import Row  # noqa: E402
import lib.bench_figures  # noqa: E402

ABOUT = {"date": "2026-01-02 03:04", "commit": "1234567 of 2026-01-02", "driver": "a b", "machine": "one, 2 processors"}


def run_of(**rounds):
    figures = Figures(dict(ABOUT))
    for name, values in rounds.items():
        for value in values:
            figures.add(name, value, value)
    return figures


def row(goal):
    return Row("a row", 1000, "a/floor", "a/driver", goal)


def with_names(run):
    """The row's names for what a test calls ours and beside."""
    for values in run.rounds.values():
        values.update({"a/driver": values["ours"], "a/floor": values["beside"]})
    return run


class FiguresTest(unittest.TestCase):
    def test_a_ratio_is_made_of_figures_of_one_round(self):
        # The machine was three times as slow in the second round: both medians of their own would give 30 / 10.
        run = run_of(ours=[20, 60, 30], beside=[10, 30, 10])
        self.assertEqual(run.ratios("ours", "beside"), [2, 2, 3])
        self.assertEqual(cells(row(goal=2.5), [with_names(run)])[5], "2.00")

    def test_rounds_that_do_not_belong_together_are_refused(self):
        with self.assertRaises(ValueError):
            run_of(ours=[1, 2], beside=[1]).ratios("ours", "beside")

    def test_several_runs_give_the_median_of_their_medians_and_its_extremes(self):
        runs = [run_of(ours=[1, 2, 9]), run_of(ours=[4, 4, 4]), run_of(ours=[3, 3, 100])]
        spread = Spread(runs, lambda run: run.values("ours"))
        self.assertEqual((spread.median, spread.least, spread.most), (3, 2, 4))

    def test_a_run_that_was_kept_is_the_same_run(self):
        run = run_of(ours=[1.23456, 2])
        run.instructions = {"ours": 12.34}
        again = Figures.from_json(run.as_json())
        self.assertEqual(again.values("ours"), [1.235, 2])  # four digits are kept
        self.assertEqual((again.instructions, again.about), ({"ours": 12.3}, ABOUT))

    def test_a_page_needs_three_runs_of_one_driver_on_one_machine(self):
        other_machine = run_of(ours=[1])
        other_machine.about = {**ABOUT, "machine": "another"}
        alike = [run_of(ours=[1]) for _ in range(3)]
        kept, lib.bench_figures.kept_runs = lib.bench_figures.kept_runs, lambda: [other_machine, *alike]
        try:
            self.assertEqual(runs_for_page(), alike)
            alike.pop()
            with self.assertRaises(SystemExit):
                runs_for_page()
        finally:
            lib.bench_figures.kept_runs = kept


class VerdictTest(unittest.TestCase):
    def verdict(self, *ratios):
        runs = [run_of(ours=[ratio], beside=[1]) for ratio in ratios]
        return cells(row(goal=1.15), [with_names(run) for run in runs])[-1]

    def test_runs_that_agree(self):
        self.assertEqual(self.verdict(0.76, 0.8, 1.15), "met")
        self.assertEqual(self.verdict(1.38, 1.2, 1.5), "missed +20%")

    def test_runs_that_disagree(self):
        self.assertEqual(self.verdict(0.76, 1.18, 0.8), "runs disagree: met in 2 of 3")

    def test_a_goal_may_be_the_least(self):
        goal = Goal("share", "10,000", 24, 60, lambda of: 100 * of("ours") / of("floor"), ("ours", "floor"), "%",
                    at_least=True)
        self.assertEqual(goal_cells(goal, [run_of(ours=[3, 7, 5], floor=[10, 10, 10])]),
                         ("share", "10,000", "24 %", "50 [30, 70] %", "60 %", "missed +20%"))
        self.assertEqual(goal_cells(goal, [run_of(ours=[7], floor=[10])])[-1], "met")

    def test_every_goal_names_the_scenarios_that_its_figure_is_made_of(self):
        for goal in GOALS:
            asked = []
            goal.figure(lambda name, asked=asked: asked.append(name) or 1.0)
            self.assertEqual(set(asked), set(goal.names), goal.what)
            self.assertLessEqual({name.split(":")[0] for name in asked}, set(scenarios()))


if __name__ == "__main__":
    unittest.main()
