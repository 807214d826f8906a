"""A payload of a given size, half of it compressible, and the executable with it."""

import random
import struct
import zipfile

from harness import BUILD
from payload import PARTS, carried

INSTALLER = BUILD / "OstravelInstaller.exe"
SECTION_HEADER = struct.Struct("<8sIIIIIIHHI")


def log_text(size):
    """Lines as a log has them: zip makes about a sixth of them."""
    words = random.Random(1)
    line = "{:010} [{:04x}] component{:02} finished request {:08x} in {} ms\n"
    lines = "".join(line.format(at, words.getrandbits(16), words.randrange(40), words.getrandbits(32), words.randrange(900))
                    for at in range(20000)).encode()
    return (lines * (size // len(lines) + 1))[:size]


def make_archive(folder, size):
    """The sample payload and two more files of `size` bytes in all, which no packer would take."""
    archive = folder / "payload.zip"
    more = {"random.bin": random.Random(2).randbytes(size // 2), "text.bin": log_text(size // 2)}
    with zipfile.ZipFile(archive, "w", zipfile.ZIP_DEFLATED, compresslevel=9) as file:
        for name, content in (PARTS | more).items():
            file.writestr(name, content)
    return archive


def make_executable(archive, place):
    """The built executable with another archive: in a section of its own, to which the resource's entry then points."""
    image, payload = bytearray(INSTALLER.read_bytes()), archive.read_bytes()
    pe = struct.unpack_from("<I", image, 60)[0]
    count, optional_size = struct.unpack_from("<H12xH", image, pe + 6)
    optional = pe + 24
    section_alignment = struct.unpack_from("<I", image, optional + 32)[0]
    headers = optional + optional_size
    sections = [SECTION_HEADER.unpack_from(image, headers + 40 * at) for at in range(count)]
    built = len(carried(bytes(image)))
    _, _, address, size, start, *_ = next(one for one in sections if one[0].startswith(b".rsrc"))
    entry = image.index(struct.pack("<II", built, 0), start, start + size) - 4

    up = lambda value, step: -(-value // step) * step
    new_address = up(max(one[2] + one[1] for one in sections), section_alignment)
    raw, raw_size = up(len(image), 4096), up(len(payload), 512)
    struct.pack_into("<II", image, entry, new_address, len(payload))
    struct.pack_into("<H", image, pe + 6, count + 1)
    struct.pack_into("<I", image, optional + 56, up(new_address + len(payload), section_alignment))
    SECTION_HEADER.pack_into(image, headers + 40 * count, b".payload", len(payload), new_address, raw_size, raw, 0, 0, 0, 0,
                             0x40000040)  # initialized data, readable
    place.write_bytes(image.ljust(raw, b"\0") + payload.ljust(raw_size, b"\0"))
    return place
