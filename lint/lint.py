"""Checks the C++ sources: `./dev lint`.

    lint.py               format and the rules of rules.py, in seconds
    lint.py tidy <LIST    and clang-tidy over the files of src/ that stand in LIST
"""

import subprocess
import sys
from pathlib import Path

from rules import broken_rules
from tidy import tidy

FORMATTED = ("src", "tests", "sample")


def sources(folder):
    return sorted(str(path) for path in Path(folder).rglob("*") if path.suffix in (".cpp", ".h"))


def wrong_format():
    files = [source for folder in FORMATTED for source in sources(folder)]
    result = subprocess.run(["clang-format", "--dry-run", "--Werror", *files], stderr=subprocess.PIPE, text=True)
    return [f"{result.stderr}`./dev format` mends the format\n"] if result.returncode else []


def main():
    found = wrong_format() + [finding for source in sources("src") for finding in broken_rules(source)]
    if sys.argv[1:]:
        found += tidy(sources("src"), set(sys.stdin.read().splitlines()))
    print("".join(found), end="")
    print(f"lint: {len(found)} findings" if found else "lint: clean", file=sys.stderr)
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
