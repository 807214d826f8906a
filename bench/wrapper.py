"""A small NSIS wrapper around the same payload: what an installation costs at least where something unpacks and waits."""

import re
import subprocess
from pathlib import Path

from harness import BUILD

SCRIPT = Path(__file__).with_suffix(".nsi")
PLACE = r"C:\Setup\wrapper.exe"


def make_wrapper(folder, compressor):
    """For 64-bit Windows; wine64 alone does not run another."""
    wrapper = folder / f"wrapper-{compressor}.exe"
    settings = {"OUT": wrapper, "PAYLOAD": BUILD / "payload", "COMPRESSOR": compressor}
    subprocess.run(["makensis", "-V2", "-WX", *(f"-D{name}={value}" for name, value in settings.items()), SCRIPT], check=True)
    return wrapper


def package_properties(run):
    """What the installer gave the package in this run, without its own switches."""
    command, = (event["command"] for event in run.events_named("executeInstallerCommand"))
    return " ".join(re.fullmatch(r'"[^"]*" +(.*) /qn /norestart /i "[^"]*" +(.*)', command).groups())


def run_wrapper(endpoint, wrapper, properties):
    endpoint.put(PLACE, wrapper)
    run = endpoint.run(exe=PLACE, command_line=f'"{PLACE}" {properties}', time_scale=1)
    assert run.code == 0 and endpoint.products, endpoint.story()
    return run
