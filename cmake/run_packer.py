#!/usr/bin/env python3
"""Runs the packer under Wine: run_packer.py OstravelPack.exe ARGUMENTS. It says and ends with what the packer says and ends with.

Absolute paths are Wine's drive Z. What it prints goes through a file: what Wine leaves running would hold a pipe open.
"""
import os
import subprocess
import sys
import tempfile
from pathlib import Path

PREFIX = Path(__file__).resolve().parent.parent / "build" / "packer-prefix"


def main(arguments):
    environment = {**os.environ, "WINEPREFIX": str(PREFIX), "WINEDEBUG": "-all", "WINEDLLOVERRIDES": "mscoree,mshtml,winedbg.exe="}
    with tempfile.TemporaryFile() as output:
        command = ["wine", *(f"Z:{one.replace('/', chr(92))}" if one.startswith("/") else one for one in arguments)]
        status = subprocess.run(command, env=environment, stdin=subprocess.DEVNULL, stdout=output,
                                stderr=subprocess.DEVNULL, check=False).returncode
        output.seek(0)
        sys.stdout.buffer.write(output.read())
    return status


sys.exit(main(sys.argv[1:]))
