"""Which function and line an address of a crash is: symbol.py "OstravelInstaller.exe+0x1234" ... `./dev symbol` runs it.

Functions of all the program; files and lines of the code here. Calls that the compiler took in are shown from the inside out.
"""

import re
import struct
import subprocess
import sys
from pathlib import Path

SYMBOLS = Path(__file__).resolve().parent.parent / "build" / "release" / "OstravelInstaller.debug"
TOOL = "x86_64-w64-mingw32-"


def output(tool, *arguments):
    return subprocess.run([TOOL + tool, *arguments], capture_output=True, text=True, check=True).stdout


def image_base_and_size():
    content = SYMBOLS.read_bytes()
    headers, = struct.unpack_from("<I", content, 60)
    return struct.unpack_from("<Q24xI", content, headers + 24 + 24)


def function_before(address):
    """For the few functions, of an instruction or two, whose lines addr2line does not find."""
    lines = (line.split(" ", 2) for line in output("nm", "-nC", "--defined-only", SYMBOLS).splitlines())
    names = [name for start, kind, name in lines if kind in "tT" and not name.startswith(".") and int(start, 16) <= address]
    return names[-1] if names else "no function"


def place_of(address):
    found = output("addr2line", "-fipCe", SYMBOLS, hex(address)).strip().replace(" build/src/", " src/")
    return function_before(address) if found.startswith("??") else found


def main(places):
    if not SYMBOLS.exists():
        raise SystemExit("there are no symbols: ./dev release makes them, or put those of the release into build/release")
    offsets = [re.fullmatch(r"(?:[^+]*\+)?0x([0-9a-fA-F]+)", place) for place in places]
    if not offsets or not all(offsets):
        raise SystemExit('usage: ./dev symbol "OstravelInstaller.exe+0x1234" ...')
    base, size = image_base_and_size()
    for place, offset in zip(places, offsets):
        at = int(offset[1], 16)
        print(f"{place}: {place_of(base + at) if at < size else 'outside the program'}")


main(sys.argv[1:])
