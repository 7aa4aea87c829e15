"""Counts the GoogleTest cases that passed and failed in the last test runs of some build folders.

A program that fails without a failed case of its own (a crash, a leak, a time-out) is one failure,
and so is a folder whose tests did not run. A program that this processor cannot run is neither, and
is named.
"""

import json
import pathlib
import re
import sys

PASSED_CASE = re.compile(r"^\[       OK \] ", re.MULTILINE)
FAILED_CASE = re.compile(r"^\[  FAILED  \] .* \(\d+ ms\)$", re.MULTILINE)


def count(folder):
    log = pathlib.Path(folder, "meson-logs", "testlog.json")
    if not log.exists():
        print(f"{folder}: the tests did not run")
        return 0, 1
    passed = failed = 0
    for line in log.read_text().splitlines():
        program = json.loads(line)
        if program["result"] == "SKIP":
            print(f"{folder}: {program['name']}: skipped, this processor lacks the level")
            continue
        output = program.get("stdout", "")
        good = len(PASSED_CASE.findall(output))
        bad = len(FAILED_CASE.findall(output))
        if program["result"] != "OK" and bad == 0:
            print(f"{folder}: {program['name']}: {program['result']}")
            bad = 1
        elif good + bad == 0:
            good = 1  # no GoogleTest program; its exit status is its one case
        passed += good
        failed += bad
    if passed + failed == 0:
        failed = 1
    return passed, failed


results = [count(folder) for folder in sys.argv[1:]]
passed = sum(result[0] for result in results)
failed = sum(result[1] for result in results)
print(f"{passed} passed, {failed} failed")
sys.exit(1 if failed else 0)
