"""The executable with another payload archive in it."""

import io
import struct
import zipfile
import zlib

from harness import BUILD

PARTS = {place.name: place.read_bytes() for place in sorted((BUILD / "payload").iterdir())}


def archive(parts):
    packed = io.BytesIO()
    with zipfile.ZipFile(packed, "w", zipfile.ZIP_DEFLATED, compresslevel=9) as file:
        for name, content in parts.items():
            file.writestr(name, content)
    return packed.getvalue()


def carried(program):
    """The archive in an installer: the last one that a list of entries ends."""
    end = program.rindex(b"PK\5\6")
    size, offset = struct.unpack_from("<II", program, end + 12)
    return program[end - size - offset:end + 22]


def executable(payload):
    """Puts the archive in place of the built one, which must be longer, and its size into the resource directory."""
    program = (BUILD / "OstravelInstaller.exe").read_bytes()
    built = carried(program)
    assert len(payload) <= len(built) and program.count(built) == 1
    size_and_code_page = struct.pack("<II", len(built), 0)
    assert program.count(size_and_code_page) == 1
    program = program.replace(built, payload.ljust(len(built), b"\0"))
    return program.replace(size_and_code_page, struct.pack("<II", len(payload), 0))


def checksum(content):
    return struct.pack("<I", zlib.crc32(content))
