"""The parsers keep their promises for the kept inputs and a few mutations of them: tests/fuzz."""

import subprocess
import sys

from harness import TOP


def test_parsers_keep_their_promises():
    assert subprocess.call([sys.executable, TOP / "tests/fuzz/run.py", "--runs", "200", "--seed", "1"]) == 0
