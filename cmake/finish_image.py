#!/usr/bin/env python3
"""Puts into a linked program's headers what GNU ld leaves out of them: finish_image.py PROGRAM LINK_MAP

- The delayed addresses lie in .idata, which this linker makes read-only: the section becomes writable.
- The load configuration (_load_config_used, where the program has one) gets its entry in the data directory.
- Windows runs the program from a copy of its own when it lies on a network share or a removable drive: either may be gone
  while it runs.
- The checksum covers what the file is now. So this comes after linking and before signing.
"""
import mmap
import re
import struct
import sys

WRITABLE = 0x80000000  # IMAGE_SCN_MEM_WRITE
RUN_FROM_SWAP = 0x0400 | 0x0800  # IMAGE_FILE_REMOVABLE_RUN_FROM_SWAP, IMAGE_FILE_NET_RUN_FROM_SWAP
CHARACTERISTICS = -2  # from the optional header
CHECKSUM = 64  # in the optional header
DIRECTORIES = 112
LOAD_CONFIG = 10


class Image:
    def __init__(self, data):
        self.data = data
        headers = self.number(60)
        sections, optional_size = self.number(headers + 6, "H"), self.number(headers + 20, "H")
        self.optional = headers + 24
        self.base = self.number(self.optional + 24, "Q")
        self.sections = [self.optional + optional_size + 40 * index for index in range(sections)]

    def number(self, offset, form="I"):
        return struct.unpack_from("<" + form, self.data, offset)[0]

    def run_from_swap(self):
        struct.pack_into("<H", self.data, self.optional + CHARACTERISTICS,
                         self.number(self.optional + CHARACTERISTICS, "H") | RUN_FROM_SWAP)

    def make_writable(self, name):
        header = next(section for section in self.sections if self.data[section:section + 8].rstrip(b"\0") == name)
        struct.pack_into("<I", self.data, header + 36, self.number(header + 36) | WRITABLE)

    def file_offset(self, address):
        for header in self.sections:
            start, size, offset = (self.number(header + field) for field in (12, 16, 20))
            if start <= address < start + size:
                return address - start + offset
        raise ValueError(f"no section holds {address:#x}")

    def set_load_config(self, address):
        """The structure begins with its own size."""
        size = self.number(self.file_offset(address))
        struct.pack_into("<II", self.data, self.optional + DIRECTORIES + 8 * LOAD_CONFIG, address, size)

    def set_checksum(self):
        """The sum of all 16-bit words with carries added again, the field itself as 0, plus the file's length."""
        length = len(self.data)
        struct.pack_into("<I", self.data, self.optional + CHECKSUM, 0)
        even = length & ~3
        words = memoryview(self.data)[:even].cast("I")
        total = sum(words) + int.from_bytes(self.data[even:], "little")
        words.release()
        while total >> 16:
            total = (total & 0xFFFF) + (total >> 16)
        struct.pack_into("<I", self.data, self.optional + CHECKSUM, total + length & 0xFFFFFFFF)


def address_of(symbol, link_map):
    with open(link_map, encoding="utf-8", errors="replace") as lines:
        for line in lines:
            found = re.fullmatch(rf"\s+0x([0-9a-f]+)\s+{symbol}\s*", line)
            if found:
                return int(found[1], 16)
    return None


def main(program, link_map):
    with open(program, "r+b") as file, mmap.mmap(file.fileno(), 0) as data:
        image = Image(data)
        image.make_writable(b".idata")
        image.run_from_swap()
        config = address_of("_load_config_used", link_map)
        if config:
            image.set_load_config(config - image.base)
        image.set_checksum()


main(*sys.argv[1:])
