"""pack.py ARCHIVE FILE ...: the files as a ZIP archive, without folders. The same files give the same archive."""

import sys
import zipfile
from pathlib import Path

with zipfile.ZipFile(sys.argv[1], "w", zipfile.ZIP_DEFLATED, compresslevel=9) as archive:
    for place in sorted(map(Path, sys.argv[2:]), key=lambda place: place.name):
        archive.writestr(zipfile.ZipInfo(place.name, (2023, 1, 1, 0, 0, 0)), place.read_bytes(), zipfile.ZIP_DEFLATED)
