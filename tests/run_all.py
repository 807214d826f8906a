"""Runs the unit tests under Wine and the scenarios, and ends with one plain line: N passed, N failed."""

import os
import re
import subprocess
import sys
from pathlib import Path

TOP = Path(__file__).resolve().parent.parent
PREFIX = TOP / "build" / "unit-prefix"


def run(command, **options):
    """The command's output, shown while it runs."""
    lines = []
    with subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, errors="replace",
                          **options) as process:
        for line in process.stdout:
            print(line, end="", flush=True)
            lines.append(line)
    return process.returncode, "".join(lines)


def wine_prefix():
    """For programs that need no endpoint of their own."""
    if not PREFIX.exists():
        subprocess.run(["wineboot", "-i"], env={**os.environ, "WINEPREFIX": str(PREFIX)}, capture_output=True, check=True)
    return PREFIX


def unit_tests():
    environment = {**os.environ, "WINEPREFIX": str(wine_prefix())}
    status, output = run(["wine", str(TOP / "build/tests/unit/unit_tests.exe"), "--gtest_brief=1"], env=environment)
    passed = sum(map(int, re.findall(r"\[  PASSED  \] (\d+) test", output)))
    failed = len(re.findall(r"^\[  FAILED  \] \S+ \(", output, re.MULTILINE))
    # A program that ended without its summary has failed as a whole.
    return passed, max(failed, 0 if status == 0 else 1)


def scenarios(arguments):
    scenario_folder = TOP / "tests" / "scenarios"
    if not list(scenario_folder.glob("test_*.py")):
        return 0, 0
    status, output = run([sys.executable, "-m", "pytest", "-q", "-n", "2", "-p", "no:cacheprovider", "--durations=5",
                          *arguments, str(scenario_folder)])
    summary = output.strip().splitlines()[-1] if output.strip() else ""
    count = {word: int(number) for number, word in re.findall(r"(\d+) (\w+)", summary)}
    passed = count.get("passed", 0)
    # A test that was skipped has not shown what it is there for.
    failed = sum(count.get(word, 0) for word in ("failed", "error", "errors", "skipped", "xfailed", "xpassed"))
    return passed, max(failed, 0 if status == 0 else 1)


def main():
    results = [unit_tests(), scenarios(sys.argv[1:])]
    passed, failed = (sum(column) for column in zip(*results))
    print(f"{passed} passed, {failed} failed")
    return 1 if failed or not passed else 0


if __name__ == "__main__":
    sys.exit(main())
