#!/usr/bin/env python3
"""Reads what ctest prints and shows one line a test suite, failed tests in full, and ctest's totals.

Usage: test_suites.py BUILD_DIRECTORY [CTEST_OPTION...]. Ends with the exit status of ctest.
"""

import json
import re
import subprocess
import sys
from collections import Counter

RESULT = re.compile(
    r"^ *\d+/\d+ Test +#\d+: (?P<name>\S+) .*?\.{3,} *(?P<result>\**[A-Za-z][A-Za-z ]*?) +(?P<seconds>[\d.]+) sec$"
)
PREAMBLE = re.compile(r"^Test project |^ +Start +\d+: |^$")


def suite_of(name):
    """The suite of Suite.Test, Set/Suite.Test/parameter, Suite.Test<type> or prefix.Suite.Test."""
    words = name.split()[0].split("<")[0]
    return words.rpartition(".")[0] or words


def expected_tests(ctest):
    listing = subprocess.run(ctest + ["--show-only=json-v1"], stdout=subprocess.PIPE, check=True)
    return Counter(suite_of(test["name"]) for test in json.loads(listing.stdout)["tests"])


class Suites:
    """Shows a suite once the last of its tests is through."""

    def __init__(self, expected):
        self.left = expected
        self.width = max((len(name) for name in expected), default=0)
        self.tests, self.seconds, self.unsuccessful = Counter(), Counter(), {}

    def add(self, name, result, seconds):
        suite = suite_of(name)
        self.left[suite] -= 1
        self.tests[suite] += 1
        self.seconds[suite] += seconds
        if result != "Passed":
            self.unsuccessful.setdefault(suite, Counter())[result.strip("*")] += 1
        if self.left[suite] == 0:
            self.show(suite)

    def show(self, suite):
        kinds = self.unsuccessful.get(suite, {})
        rest = "".join(f", {count} {kind}" for kind, count in kinds.items())
        passed = self.tests[suite] - sum(kinds.values())
        print(f"  {suite:<{self.width}} {passed:5} passed {self.seconds[suite]:8.2f} s{rest}", flush=True)


def main():
    ctest = ["ctest", "--test-dir", sys.argv[1], *sys.argv[2:]]
    suites = Suites(expected_tests(ctest))
    run = subprocess.Popen(ctest + ["--output-on-failure"], stdout=subprocess.PIPE, text=True, errors="replace")
    for line in run.stdout:
        line = line.rstrip("\n")
        result = RESULT.match(line)
        if result:
            suites.add(result["name"], result["result"], float(result["seconds"]))
        if not (result and "Passed" in result["result"]) and not PREAMBLE.match(line):
            print(line, flush=True)
    return run.wait()


if __name__ == "__main__":
    sys.exit(main())
