"""Makes build/release/ of what was built: programs, symbols, bill of materials, notices, checksums. `./dev release` runs it.

Everything depends on the sources and the build root alone. What would tell of the machine or the time is an error.
"""

import hashlib
import json
import os.path
import re
import shutil
import struct
import subprocess
import uuid
from pathlib import Path

from parts import PARTS, parts_of

BUILD = Path(__file__).resolve().parent.parent / "build"
OUT = BUILD / "release"
INSTALLER = BUILD / "unpacked" / "OstravelInstaller.exe"
PACKER = BUILD / "OstravelPack.exe"
WITH_SYMBOLS = BUILD / "symbols" / "OstravelInstaller.exe"
SYMBOLS = "OstravelInstaller.debug"
TARGETS = {INSTALLER.name: "OstravelInstallerExe", PACKER.name: "OstravelPack"}
TOOL = "x86_64-w64-mingw32-"
MACHINE = re.compile(rb"/(?:checkout|opt|tmp|build|usr|root|home|var)/[\w.+-]+|[A-Za-z]:\\(?:Users|build)\\", re.ASCII)
NAMESPACE = uuid.UUID("95b9ab60-3bed-4c47-afc0-e5876a75512a")


def sha256(place):
    return hashlib.sha256(place.read_bytes()).hexdigest()


def section(program, name):
    """What the program has of a section; text is laid out alike with and without symbols."""
    headers, = struct.unpack_from("<I", program, 60)
    count, size = struct.unpack_from("<H12xH", program, headers + 6)
    for table in range(headers + 24 + size, headers + 24 + size + 40 * count, 40):
        length, _, _, offset = struct.unpack_from("<4I", program, table + 8)
        if program[table:table + 8].rstrip(b"\0") == name:
            return program[offset:offset + length]
    raise SystemExit(f"there is no section {name}")


def copy_program(place):
    content = place.read_bytes()
    headers, = struct.unpack_from("<I", content, 60)
    if trace := MACHINE.search(content) or struct.unpack_from("<I", content, headers + 8)[0]:
        raise SystemExit(f"{place.name} tells of the machine that built it: {trace}")
    shutil.copyfile(place, OUT / place.name)


def split_symbols():
    if section(INSTALLER.read_bytes(), b".text") != section(WITH_SYMBOLS.read_bytes(), b".text"):
        raise SystemExit("the program with symbols is another one")
    subprocess.run([f"{TOOL}objcopy", "--only-keep-debug", WITH_SYMBOLS, OUT / SYMBOLS], check=True)
    with open(OUT / SYMBOLS, "r+b") as file:
        headers, = struct.unpack("<60xI", file.read(64))
        for field in 8, 24 + 64:  # objcopy puts the time of day there, and the checksum that comes of it
            file.seek(headers + field)
            file.write(bytes(4))


def parts_in(target):
    """What the linker took from where, and which headers the sources of the program, and of all below it, have."""
    link_map = (BUILD / f"{target}.map").read_text(errors="replace")
    taken = {os.path.normpath(place) for place in re.findall(r"^(/[^\s(]+\.a)\(|^LOAD (/\S+\.o)$", link_map, re.MULTILINE)
             for place in place if place}
    own = re.findall(r"^(src/\S+)/[^/\s]+\.a\(([^)]+)\)|^LOAD (src/\S+)/CMakeFiles/\S+/([^/\s]+\.obj)$", link_map, re.MULTILINE)
    objects = {(one or other, name or other_name) for one, name, other, other_name in own}
    return sorted(parts_of(taken, "linked") | parts_of(headers_of(objects), "headers"))


def headers_of(objects):
    """Those of the build root that the build has recorded for these objects, each known by the folder of its source."""
    recorded = subprocess.run(["ninja", "-C", BUILD, "-t", "deps"], capture_output=True, text=True, check=True).stdout
    headers = set()
    for entry in recorded.split("\n\n"):
        name, *places = entry.strip().splitlines() or [""]
        name = name.split(":")[0]
        if (name.split("/CMakeFiles/")[0], name.rsplit("/", 1)[-1]) in objects:
            headers |= {os.path.normpath(place.strip()) for place in places if place.strip().startswith("/")}
    return {place for place in headers if not place.startswith("/checkout/")}


def sources():
    """Source package -> [(file, SHA-256)], the upstream archive first."""
    found = {}
    for line in Path("/opt/target/sources").read_text().splitlines():
        package, name, digest = line.split()
        found.setdefault(package, []).append((name, digest))
    return {package: sorted(files, key=lambda file: ".orig.tar" not in file[0]) for package, files in found.items()}


def component(part, files):
    archive, digest = files[0]
    version = archive.split("_")[1].split(".orig.tar")[0]
    version = re.sub(r"[+.](dfsg|ds)\d*$", "", version.split("really")[-1])
    return {"type": "library", "bom-ref": part.name, "name": part.name, "version": version,
            "licenses": [{"expression": part.licence}], "hashes": [{"alg": "SHA-256", "content": digest}],
            "externalReferences": [{"type": "source-distribution", "url": name, "hashes": [{"alg": "SHA-256", "content": one}]}
                                   for name, one in files]}


def program(name, version):
    return {"type": "application", "bom-ref": name, "name": name, "version": version,
            "hashes": [{"alg": "SHA-256", "content": sha256(OUT / name)}]}


def bill_of_materials(used):
    version, = re.findall(r"^CMAKE_PROJECT_VERSION:STATIC=(.*)$", (BUILD / "CMakeCache.txt").read_text(), re.MULTILINE)
    archives, names = sources(), {name for parts in used.values() for name in parts}
    components = [component(part, archives[part.source]) for part in PARTS if part.name in names]
    content = {"bomFormat": "CycloneDX", "specVersion": "1.5", "version": 1,
               "metadata": {"component": program(INSTALLER.name, version)},
               "components": [program(PACKER.name, version), *components],
               "dependencies": [{"ref": name, "dependsOn": parts} for name, parts in used.items()]}
    serial = uuid.uuid5(NAMESPACE, json.dumps(content, sort_keys=True))
    return {"serialNumber": f"urn:uuid:{serial}"} | content


def notices(bill):
    line = "=" * 100
    yield "OstravelInstaller.exe and OstravelPack.exe contain the following parts of others.\n"
    versions = {one["name"]: one["version"] for one in bill["components"]}
    for part in (part for part in PARTS if part.name in versions):
        yield f"\n{line}\n{part.name} {versions[part.name]}: {part.licence}\n{line}\n\n"
        for text in part.texts:
            yield Path(text).read_text(encoding="utf-8", errors="replace").replace("\r\n", "\n").strip("\n") + "\n"


def main():
    shutil.rmtree(OUT, ignore_errors=True)
    OUT.mkdir(parents=True)
    for place in INSTALLER, PACKER:
        copy_program(place)
    split_symbols()
    bill = bill_of_materials({name: parts_in(target) for name, target in TARGETS.items()})
    (OUT / "sbom.cdx.json").write_text(json.dumps(bill, indent=1) + "\n")
    (OUT / "THIRD-PARTY-NOTICES.txt").write_text("".join(notices(bill)), encoding="utf-8")
    sums = "".join(f"{sha256(place)}  {place.name}\n" for place in sorted(OUT.iterdir()))
    (OUT / "SHA256SUMS").write_text(sums)


main()
