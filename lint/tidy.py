"""Runs clang-tidy over sources of src/.

Nearly all of its time goes into the system's headers, again for every source. So the sources are read as one, in a file
that includes them. Only the analyzer, which passes by the headers, and follows calls into whatever it is shown,
gets each source by itself.
"""

import json
import os
import re
import subprocess
import sys
from concurrent.futures import ThreadPoolExecutor
from functools import cache
from pathlib import Path

TOP = Path(__file__).resolve().parent.parent
UNIT = TOP / "build" / "lint" / "unit.cpp"

TOGETHER = "-clang-analyzer-*,-bugprone-suspicious-include"
BY_ITSELF = "-bugprone-*,-cert-*,-misc-*,-modernize-*,-performance-*,-readability-*"

FLAG = re.compile(r"(?<= )(?:-isystem \S+|-D\S+|-W(?!error)\S+|-std=\S+)")
INCLUDE = re.compile(r'^#include "([^"]+)"', re.MULTILINE)
FINDING = re.compile(r"^(?=\S+:\d+:\d+: (?:warning|error):)", re.MULTILINE)
DOES_NOT_COMPILE = "[clang-diagnostic-error"


@cache
def compiler_flags():
    """Those of all sources of src/ together. Who may include what is the build's concern."""
    entries = json.loads((TOP / "build" / "compile_commands.json").read_text(encoding="utf-8"))
    commands = " ".join(entry["command"] for entry in entries if entry["file"].startswith(f"{TOP}/src/"))
    flags = " ".join(dict.fromkeys(FLAG.findall(commands)))
    return ["--target=x86_64-w64-mingw32", f"-I{TOP}/src", *flags.split()]


def clang_tidy(source, checks):
    """What is found in a source and the headers of src/, each finding a text."""
    result = subprocess.run(["clang-tidy", "--quiet", f"--checks={checks}", source, "--", *compiler_flags()],
                            capture_output=True, text=True)
    found = FINDING.split(result.stdout.replace(f"{TOP}/", ""))[1:]
    return found or ([f"{source}: clang-tidy failed\n{result.stdout}{result.stderr}"] if result.returncode else [])


def found_together(sources):
    # cpuid.h, which a source includes, has macros that intrin.h cannot come after.
    UNIT.parent.mkdir(exist_ok=True)
    UNIT.write_text("#include <intrin.h>\n" + "".join(f'#include "{TOP}/{source}"\n' for source in sources))
    found = clang_tidy(str(UNIT), TOGETHER)
    errors = [finding for finding in found if DOES_NOT_COMPILE in finding]
    if len(sources) == 1 or not errors:
        return found
    # Two sources have the same name for different things, perhaps: again without those that did not compile.
    blamed = [source for source in sources if any(error.startswith(f"{source}:") for error in errors)]
    apart = blamed if 0 < len(blamed) < len(sources) else sources[::2]
    return found_together(apart) + found_together([source for source in sources if source not in apart])


def touched(sources, changed):
    """What of the sources has changed or includes a header that has, directly. All when the settings have changed."""
    if ".clang-tidy" in changed:
        return sources
    return [source for source in sources if source in changed or
            changed.intersection(f"src/{name}" for name in INCLUDE.findall(Path(source).read_text(encoding="utf-8")))]


def tidy(sources, changed):
    """What is found in those that have changed. A source that includes a changed header is not analyzed again."""
    together = touched(sources, changed)
    if not together:
        return []
    alone = [source for source in together if source.endswith(".cpp") and changed & {source, ".clang-tidy"}]
    print(f"lint: clang-tidy reads {len(together)} files, {len(alone)} of them with its analyzer ...", file=sys.stderr)
    with ThreadPoolExecutor(os.cpu_count()) as pool:
        jobs = [pool.submit(found_together, together), *(pool.submit(clang_tidy, one, BY_ITSELF) for one in alone)]
    return sorted({finding for job in jobs for finding in job.result()})
