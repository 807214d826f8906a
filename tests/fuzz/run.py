"""Asks the parsers with kept inputs and mutations of them, through two builds: `./dev fuzz`."""

import argparse
import os
import re
import subprocess
import sys
import time
from pathlib import Path

TOP = Path(__file__).resolve().parent.parent.parent
BUILD = TOP / "build"
CORPUS = TOP / "tests" / "fuzz" / "corpus"
sys.path.insert(0, str(TOP / "tests"))
from run_all import wine_prefix  # noqa: E402


def ask(program, *arguments):
    """Whether it ended well, and what each target came to. Its output goes to a file: Wine's services outlive it."""
    folder = BUILD / "fuzz"
    folder.mkdir(parents=True, exist_ok=True)
    with open(folder / f"{program}.txt", "w+") as output:
        status = subprocess.call(["wine", BUILD / "tests" / "fuzz" / f"{program}.exe", *map(str, arguments)], cwd=folder,
                                 stdout=output, env={**os.environ, "WINEPREFIX": str(wine_prefix())})
        output.seek(0)
        said = output.read()
    print(f"{program}:\n{said}", end="", flush=True)
    return status == 0, re.findall(r"^(\w+) +(\d+) runs, digest (\w+)", said, re.MULTILINE)


def main():
    parser = argparse.ArgumentParser("./dev fuzz")
    parser.add_argument("--seconds", type=int, default=60, help="in all, for both builds")
    parser.add_argument("--runs", type=int, help="of each target, instead of a time")
    parser.add_argument("--seed", type=int, default=int(time.time()))
    parser.add_argument("what", nargs="*", help="targets (all), or a file of tests/fuzz/corpus or build/fuzz")
    options = parser.parse_args()
    targets = options.what or sorted(folder.name for folder in CORPUS.iterdir() if folder.is_dir())
    corpus, runs, seconds = CORPUS, options.runs, max(1, options.seconds // 2 // len(targets))
    if options.what and Path(options.what[0]).is_file():
        corpus, runs = Path(options.what[0]).resolve(), 1
        name = re.fullmatch(r"crash-(\w+)-\w+", corpus.name)
        targets = [name[1] if name else corpus.parent.name]
    print(f"seed {options.seed}", flush=True)
    limited = [f"{target}={runs}" for target in targets] if runs else targets
    kept, answers = ask("fuzz", corpus, options.seed, 3600 if runs else seconds, *limited)
    plain, others = ask("fuzz_plain", corpus, options.seed, 3600, *(f"{target}={count}" for target, count, _ in answers))
    different = set(answers) ^ set(others)
    if different:
        print("answered differently: " + ", ".join(sorted({target for target, *_ in different})))
    return 0 if kept and plain and not different else 1


if __name__ == "__main__":
    sys.exit(main())
