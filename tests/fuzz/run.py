"""Asks the parsers with kept inputs and mutations of them, through two builds: `./dev fuzz`.

    ./dev fuzz [--seconds N] [--seed N] [TARGET ...]    N seconds in all (60); another seed each time, unless it is given
    ./dev fuzz --runs N [TARGET ...]                    N inputs a target, of the seed 1
    ./dev fuzz FILE                                     a file of tests/fuzz/corpus, or build/fuzz/crash-...: that input alone

What breaks a promise, or is answered differently by the two builds, ends it with 1.
"""

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
    """Whether it ended well, and what it said; through a file, since Wine's services outlive it."""
    folder = BUILD / "fuzz"
    folder.mkdir(parents=True, exist_ok=True)
    log = folder / f"{program}-{os.getpid()}.txt"
    with open(log, "w") as output:
        status = subprocess.call(["wine", str(BUILD / "tests" / "fuzz" / f"{program}.exe"), *map(str, arguments)],
                                 cwd=folder, stdin=subprocess.DEVNULL, stdout=output, stderr=subprocess.STDOUT,
                                 env={**os.environ, "WINEPREFIX": str(wine_prefix())})
    said = log.read_text(errors="replace")
    log.unlink()
    print(said, end="", flush=True)
    return status == 0, dict(re.findall(r"^(\w+) +(\d+ runs, digest \w+)", said, re.MULTILINE))


def main():
    parser = argparse.ArgumentParser(usage=__doc__)
    parser.add_argument("--seconds", type=int, default=60)
    parser.add_argument("--seed", type=int)
    parser.add_argument("--runs", type=int)
    parser.add_argument("what", nargs="*")
    options = parser.parse_args()
    if options.what and Path(options.what[0]).is_file():
        return 0 if ask("fuzz", Path(options.what[0]).resolve())[0] else 1
    seed = options.seed or (1 if options.runs else int(time.time()))
    limit = ["--runs", options.runs] if options.runs else ["--seconds", (options.seconds + 1) // 2]
    print(f"seed {seed}; with traps and assertions:", flush=True)
    kept, answers = ask("fuzz", CORPUS, *limit, "--seed", seed, *options.what)
    print("as shipped:", flush=True)
    same = [f"{target}={answer.split()[0]}" for target, answer in answers.items()]
    kept_again, others = ask("fuzz_plain", CORPUS, "--seed", seed, *same) if same else (False, {})
    different = [target for target in answers if answers[target] != others.get(target)]
    if different:
        print("answered differently: " + ", ".join(different))
    return 0 if kept and kept_again and not different else 1


if __name__ == "__main__":
    sys.exit(main())
