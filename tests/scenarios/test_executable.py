"""The file that is shipped: exceptions arrive in all of its code, and Windows loads it as it was meant to be loaded."""

import re
import struct
import subprocess
from pathlib import Path

from harness import BUILD

PROGRAM, MAP = BUILD / "OstravelInstaller.exe", BUILD / "OstravelInstallerExe.map"
KNOWN_LIBRARIES = {"advapi32.dll", "kernel32.dll", "msvcrt.dll", "ntdll.dll", "ole32.dll", "oleaut32.dll", "shell32.dll",
                   "user32.dll", "ws2_32.dll"}
PADDING = 16  # bytes between one function and the next
SYSTEM32_ONLY = 0x800
RELOCATABLE, NO_EXECUTE, HIGH_ENTROPY, TERMINAL_SERVER = 0x40, 0x100, 0x20, 0x8000
AUTHORITY = next(Path("/usr/share/ca-certificates/mozilla").iterdir())  # any will do for a file without a signature
EXECUTABLE, WRITABLE = 0x20000000, 0x80000000


class Image:
    def __init__(self, data):
        self.data = data
        headers, = self.read(60, "I")
        self.optional = headers + 24
        count, (size,) = self.read(headers + 6, "H")[0], self.read(headers + 20, "H")
        tables = [self.optional + size + 40 * index for index in range(count)]
        # name -> (size, address, size in file, offset in file), and what it may be used for
        self.sections = {data[table:table + 8].rstrip(b"\0").decode(): self.read(table + 8, "4I") for table in tables}
        self.rights = [self.read(table + 36, "I")[0] for table in tables]
        self.base, = self.read(self.optional + 24, "Q")

    def read(self, offset, form):
        return struct.unpack_from("<" + form, self.data, offset)

    def at(self, address):
        return next(address - start + offset for _, start, size, offset in self.sections.values()
                    if start <= address < start + size)

    def directory(self, index):
        address, size = self.read(self.optional + 112 + 8 * index, "II")
        return self.at(address), size

    def functions(self):
        """(begin, end) of all that can be unwound, in order."""
        offset, size = self.directory(3)
        return [self.read(entry, "II") for entry in range(offset, offset + size, 12)]

    def imports(self):
        entry, _ = self.directory(1)
        while name := self.read(entry, "5I")[3]:
            start = self.at(name)
            yield self.data[start:self.data.index(b"\0", start)].decode().lower()
            entry += 20


def own_code(image):
    """(begin, end, name) of each piece of code that came from the sources here, as the linker laid it out."""
    text = MAP.read_text(errors="replace").replace("\r", "")
    piece = re.compile(r"^ (\.text\S*)\s+0x([0-9a-f]+)\s+0x([0-9a-f]+) (?:\./)?src/", re.MULTILINE)
    for name, address, size in piece.findall(text):
        begin = int(address, 16) - image.base
        if int(size, 16) and begin > 0:
            yield begin, begin + int(size, 16), name


def test_exceptions_arrive():
    image = Image(PROGRAM.read_bytes())
    functions = image.functions()
    size, start, *_ = image.sections[".text"]
    assert start <= functions[0][0] and functions[-1][1] <= start + size
    assert all(one[0] < one[1] <= other[0] for one, other in zip(functions, functions[1:]))
    assert sum(end - begin for begin, end in functions) / size > 0.95
    own = list(own_code(image))
    assert len(own) > 1000
    uncovered = [name for begin, end, name in own
                 if sum(min(end, last) - max(begin, first) for first, last in functions if first < end and last > begin)
                 < end - begin - PADDING]
    assert not uncovered


def test_loading():
    image = Image(PROGRAM.read_bytes())
    assert set(image.imports()) <= KNOWN_LIBRARIES
    characteristics, = image.read(image.optional + 70, "H")
    assert characteristics & (flags := RELOCATABLE | NO_EXECUTE | HIGH_ENTROPY | TERMINAL_SERVER) == flags
    file_characteristics, = image.read(image.optional - 2, "H")
    assert file_characteristics & (FROM_SWAP := 0x400 | 0x800) == FROM_SWAP
    assert not any(right & EXECUTABLE and right & WRITABLE for right in image.rights)
    config, size = image.directory(10)
    assert image.read(config, "I") == (size,) and image.read(config + 78, "H") == (SYSTEM32_ONLY,)
    verdict = subprocess.run(["osslsigncode", "verify", "-CAfile", AUTHORITY, "-in", PROGRAM], capture_output=True, text=True,
                             check=False).stdout
    assert re.search("^PE checksum", verdict, re.MULTILINE) and "invalid PE checksum" not in verdict
