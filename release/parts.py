"""What the programs are made of besides the sources here, and which archives, objects and headers of the build root each is."""

import re
from dataclasses import dataclass

DOC = "/usr/share/doc"
COMMON = "/usr/share/common-licenses"
COMPILER = r"/usr/lib/gcc/x86_64-w64-mingw32/[^/]+"
TARGET = "/usr/x86_64-w64-mingw32"


@dataclass(frozen=True)
class Part:
    name: str
    source: str  # of toolchain/sources.txt
    licence: str  # an SPDX expression
    texts: tuple
    linked: str = r"(?!)"  # paths in the link map
    headers: str = r"(?!)"  # whose code is compiled in


PARTS = (
    Part("boost", "boost1.83", "BSL-1.0", (f"{COMMON}/BSL-1.0",), headers=r"(/opt/target/boost|/usr/include)/boost/"),
    Part("cpprestsdk", "cpprest", "MIT", ("/opt/target/licences/cpprest",), r"/opt/target/lib/libcpprest\.a",
         r"/opt/target/(include/(cpprest|pplx)|compat)/"),
    Part("gcc-runtime (libstdc++, libgcc)", "gcc-14", "GPL-3.0-or-later WITH GCC-exception-3.1",
         (f"{DOC}/g++-mingw-w64-x86-64-posix/copyright", f"{COMMON}/GPL-3"),
         rf"{COMPILER}/(lib(stdc\+\+|gcc|gcc_eh)\.a|crt(begin|end)\.o)", rf"{COMPILER}/include/"),
    # dlltool makes the delay-import libraries out of its import libraries.
    Part("mingw-w64-runtime (with winpthreads)", "mingw-w64", "ZPL-2.1 AND MIT AND BSD-3-Clause AND SMLNJ",
         (f"{DOC}/mingw-w64-x86-64-dev/copyright",), rf"({TARGET}/lib/(?!libz\.a)[^/]+\.[ao]|/opt/target/delay/[^/]+\.a)",
         rf"{TARGET}/include/(?!z(lib|conf)\.h)|/usr/share/mingw-w64/include/"),
    Part("minizip", "zlib", "Zlib", ("/opt/target/licences/minizip",), r"/opt/target/lib/libminizip\.a",
         r"/opt/target/include/(unzip|ioapi|iowin32)\.h"),
    Part("tclap", "tclap", "MIT", (f"{DOC}/libtclap-dev/copyright",), headers=r"(/opt/target|/usr/include)/tclap/"),
    Part("zlib", "libz-mingw-w64", "Zlib", (f"{DOC}/libz-mingw-w64-dev/copyright",), rf"{TARGET}/lib/libz\.a",
         rf"{TARGET}/include/z(lib|conf)\.h"),
)


def parts_of(places, pattern):
    """The parts that these paths belong to, by `linked` or `headers`; a path of none is an error: the table lacks a part."""
    found = set()
    for place in places:
        part = next((part for part in PARTS if re.match(getattr(part, pattern), place)), None)
        if not part:
            raise SystemExit(f"release/parts.py names no part for {place}")
        found.add(part.name)
    return found
