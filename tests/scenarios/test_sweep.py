"""A fixed sample of the sweeps: single failures, and ends at single moments, of whole runs."""

import subprocess
import sys
from pathlib import Path

import pytest

SWEEP = Path(__file__).resolve().parent.parent / "sweep" / "sweep.py"


@pytest.mark.parametrize("options", [["--sample", "40"], ["--sample", "20", "--kill"]])
def test_sample(options):
    result = subprocess.run([sys.executable, SWEEP, *options], capture_output=True, text=True, check=False)
    assert result.returncode == 0, result.stdout + result.stderr
