#!/usr/bin/env python3
"""Reads the reports of test runs, in the form that JUnit began. Prints "PASSED FAILED".

  scripts/lib/junit.py program FILE             what one GoogleTest program wrote
  scripts/lib/junit.py suite FILE [DIRECTORY]   what ctest wrote; of a program that ran as a whole its own report counts,
                                                DIRECTORY/PROGRAM.xml
"""
import sys
import xml.etree.ElementTree as ET
from pathlib import Path


def count_program(file):
    """(passed, failed) of one GoogleTest program."""
    suites = ET.parse(file).getroot()
    bad = int(suites.get("failures")) + int(suites.get("errors"))
    return int(suites.get("tests")) - bad, bad


def count_suite(file, programs=None):
    """(passed, failed) of a run of ctest."""
    passed = failed = 0
    for case in ET.parse(file).getroot().iter("testcase"):
        good = case.get("status") == "run"
        # A program that broke off has left no report.
        report = Path(programs) / f"{case.get('name')}.xml" if programs else None
        if report and report.exists():
            p, f = count_program(report)
            passed += p
            failed += f if f or good else 1
        else:
            passed += good
            failed += not good
    return passed, failed


def main():
    kinds = {"program": count_program, "suite": count_suite}
    if len(sys.argv) < 3 or sys.argv[1] not in kinds:
        sys.exit(__doc__)
    print(*kinds[sys.argv[1]](*sys.argv[2:]))


if __name__ == "__main__":
    main()
