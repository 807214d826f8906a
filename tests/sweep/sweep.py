"""Fails every call of a run once, or ends the run at every moment, and looks at what it leaves: `./dev sweep`.

    sweep.py [--journey NAME ...] [--only FUNCTION] [--every N] [--sample N] [--kill] [--other-errors] [--again]

Done points are kept in build/sweep/ for as long as the program stays the same, so that a sweep that was broken off goes
on; --again begins anew. --sample takes N points, the same ones each time. With --kill the process ends at each event and
each file, registry, process and task call; then the machine boots, without what had not been flushed, or somebody starts the
program again, in turn. With --other-errors each call fails with another of its errors.
"""

import argparse
import hashlib
import json
import multiprocessing
import os
import queue
import shutil
import sys
from collections import Counter, defaultdict

from machine import Machine

from errors import OUT_OF_MEMORY, TASK_METHODS, error_of
from harness import BUILD
from invariants import After, violations
from journeys import JOURNEYS, SCALE, TASK
from management import ManagementServer
from runs import records_of

WORK = BUILD / "sweep"
MALLOCS = (1, 10, 60, 300, 1000, 2000, 4000)
# A clock cannot fail, and a handle that is not closed keeps what Windows would let go of.
UNTOUCHED = ("GetTickCount64", "GetLocalTime", "GetSystemTimeAsFileTime", "CloseServiceHandle")
MOMENTS = ("EventWriteTransfer", "CreateFileW", "NtCreateFile", "WriteFile", "MoveFileExW", "DeleteFileW", "CreateDirectoryW",
           "SetFileInformationByHandle", "FlushFileBuffers", "Reg", "CreateProcessW", *TASK_METHODS)


def sampled(calls, about):
    """Of calls with equal arguments, all with that text, the first, the second and the last: (call, its number among all of its
    name)."""
    numbers, alike = Counter(), defaultdict(list)
    for record in calls:
        numbers[record["call"]] += 1
        if about in record["text"]:
            alike[record["call"], record["text"]].append(numbers[record["call"]])
    return sorted({(call, number) for (call, _), all_of in alike.items() for number in (*all_of[:2], all_of[-1])})


def points_of(journey, calls, lookups, options):
    """Names of points with what the script says there."""
    points = sampled(calls, journey.about)
    if options.kill:
        return {f"{call}:{number}": {"fail": [f"{call}:{number}:kill"]} for call, number in points if call.startswith(MOMENTS)}
    points = {f"{call}:{number}": {"fail": [f"{call}:{number}:{error_of(call, options.other_errors)}"]} for call, number in points
              if call not in UNTOUCHED}
    if journey.about:
        return points
    points |= {f"malloc:{number}": {"fail": [f"malloc:{number}:{OUT_OF_MEMORY}"]} for number in MALLOCS}
    return points | {f"missing:{name}": {"missing": [name]} for name in sorted({one["name"] for one in lookups})}


class Worker:
    """A process with a machine and a server of its own."""

    def __init__(self):
        self.machine = Machine()
        self.server = ManagementServer(WORK / f"requests-{os.getpid()}")
        self.clean, self.prepared = WORK / f"nothing-{os.getpid()}", {}
        self.machine.save(self.clean)

    def ready(self, name):
        if name not in self.prepared:
            self.machine.saved = self.clean
            self.machine.restore()
            JOURNEYS[name].prepare(self.machine)
            self.machine.save(WORK / f"{name}-{os.getpid()}")
            self.prepared[name] = self.machine.saved
        self.machine.saved = self.prepared[name]
        self.machine.restore()
        return JOURNEYS[name]

    def healthy(self, name):
        journey = self.ready(name)
        run = journey.start(self.machine, self.server, {"calls": ["yes"]}).wait()
        wrong = violations(self.machine, journey, run)
        assert run.code == journey.healthy and not wrong, (name, run.code, wrong)
        return run

    def fail(self, name, script):
        journey = self.ready(name)
        run = journey.start(self.machine, self.server, script).wait()
        return run.code, violations(self.machine, journey, run)

    def kill(self, name, script, boots):
        journey = self.ready(name)
        started = journey.start(self.machine, self.server, script)
        started.process.wait(180)
        self.machine.settle()
        if boots:
            self.machine.lose(records_of(started.folder))
            return self.boot(journey)
        if journey.at_boot and TASK not in self.machine.tasks:
            return self.boot(journey)
        run = journey.start(self.machine, self.server).wait()
        return run.code, violations(self.machine, journey, run, killed=True)

    def boot(self, journey):
        """Nobody starts anything: the machine comes to an agent, old or new, when it had one or was to get it at boot."""
        codes = []
        while TASK in self.machine.tasks and len(codes) < 4:
            self.machine.reboot()
            codes.append(self.machine.run_task(self.machine.tasks[TASK], time_scale=SCALE).code)
        last = self.machine.run("-q", "--diagnostics_only", time_scale=SCALE)
        after = After(self.machine, journey, last)
        needs = journey.agent and journey.after is not None or journey.at_boot or journey.first
        wrong = [] if after.whole_version or not needs else [f"power: no agent after the boots {codes}"]
        return (codes or [last.code])[-1], wrong + (["power: boots for ever"] if len(codes) > 3 else [])

    def close(self):
        self.server.__exit__()
        self.machine.close()
        for place in WORK.glob(f"*-{os.getpid()}"):
            shutil.rmtree(place)


def work(jobs, results):
    worker = Worker()
    for name, point, script, manner in iter(jobs.get, None):
        try:
            if manner == "calls":
                run = worker.healthy(name)
                outcome = run.of_kind("call"), run.of_kind("lookup")
            elif manner == "fail":
                outcome = worker.fail(name, script)
            else:
                outcome = worker.kill(name, script, manner == "boot")
        except Exception as error:  # noqa: BLE001  whatever it is, the sweep goes on
            outcome = (None, [f"{type(error).__name__}: {error}"])
        results.put((name, point, manner, outcome))
    worker.close()


class Pool:
    def __init__(self, count):
        self.jobs, self.results = multiprocessing.Queue(), multiprocessing.Queue()
        self.workers = [multiprocessing.Process(target=work, args=(self.jobs, self.results)) for _ in range(count)]
        for worker in self.workers:
            worker.start()

    def map(self, jobs):
        for job in jobs:
            self.jobs.put(job)
        for _ in jobs:
            yield self.results.get()

    def close(self):
        for _ in self.workers:
            self.jobs.put(None)
        while any(worker.is_alive() for worker in self.workers):
            try:
                self.results.get(timeout=0.2)
            except queue.Empty:
                pass


def chosen_points(pool, options):
    """All that are to be done: (journey, point, script, manner)."""
    jobs = []
    for name, _, _, (calls, lookups) in pool.map([(name, "", None, "calls") for name in options.journey]):
        if calls is None:
            raise SystemExit(f"sweep: {name} is not healthy: {lookups}")
        points = points_of(JOURNEYS[name], calls, lookups, options)
        points = {point: script for point, script in points.items() if not options.only or point.startswith(options.only)}
        for index, (point, script) in enumerate(points.items()):
            manner = "fail" if not options.kill else ("again", "boot")[index % 2 and not JOURNEYS[name].damage]
            jobs.append((name, point, script, manner))
        print(f"sweep: {name}: {len(calls)} calls, {len(points)} points", flush=True)
    jobs = sorted(jobs, key=lambda job: hashlib.sha256(f"{job[0]} {job[1]}".encode()).digest())
    if options.sample:
        # What does not depend on the order of threads, so that it is the same each time.
        return [job for job in jobs if not job[1].startswith(("malloc", "SetEvent", "WaitFor"))][:options.sample]
    return jobs[::options.every]


def show(done, hint):
    codes = defaultdict(Counter)
    for (name, _, _), (code, _) in done.items():
        codes[name][code] += 1
    for name, counts in sorted(codes.items()):
        endings = ", ".join(f"{code} × {count}" for code, count in sorted(counts.items(), key=lambda one: -one[1]))
        print(f"{name:12} {sum(counts.values()):5} done: {endings}")
    wrong = {key: found for key, (_, found) in done.items() if found}
    for (name, point, manner), found in sorted(wrong.items()):
        print(f"VIOLATION {name} {point} ({manner}): {'; '.join(found)}")
        print(f"          ./dev sweep --journey {name} --only {point}{'' if manner == 'fail' else ' --kill'}{hint} --again")
    print(f"sweep: {len(done)} points, {len(wrong)} violations")
    return 1 if wrong else 0


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--journey", action="append", choices=JOURNEYS)
    parser.add_argument("--only", default="")
    parser.add_argument("--every", type=int, default=1)
    parser.add_argument("--sample", type=int)
    parser.add_argument("--kill", action="store_true")
    parser.add_argument("--other-errors", action="store_true")
    parser.add_argument("--again", action="store_true")
    options = parser.parse_args()
    options.journey = options.journey or list(JOURNEYS)
    WORK.mkdir(parents=True, exist_ok=True)
    program = hashlib.sha256((BUILD / "OstravelInstaller.exe").read_bytes()).hexdigest()[:16]
    other = "-other-errors" * options.other_errors
    kept = WORK / (f"sample-{os.getpid()}.jsonl" if options.sample else f"done-{program}{other}.jsonl")
    if options.again:
        kept.unlink(missing_ok=True)
    done = {tuple(key): tuple(outcome) for key, outcome in map(json.loads, kept.open())} if kept.exists() else {}
    pool = Pool(os.cpu_count())
    try:
        jobs = chosen_points(pool, options)
        with kept.open("a") as file:
            for name, point, manner, outcome in pool.map([job for job in jobs if (job[0], job[1], job[3]) not in done]):
                done[name, point, manner] = outcome
                print(json.dumps([[name, point, manner], outcome]), file=file, flush=True)
                if outcome[1]:
                    print(f"  {name} {point} {outcome}", flush=True)
    finally:
        pool.close()
        if options.sample:
            kept.unlink(missing_ok=True)
    wanted = {(job[0], job[1], job[3]) for job in jobs}
    return show({key: outcome for key, outcome in done.items() if key in wanted}, other.replace('-', ' --', 1))


if __name__ == "__main__":
    sys.exit(main())
