"""Measures the installer, each figure beside a real counterpart in the same run: `./dev bench`.

Prints a line per figure and leaves them in build/bench.json. Loopback only; a few minutes.
"""

import json
import os
import shutil
import subprocess
import sys
import time
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "tests" / "scenarios"))

from harness import BUILD, MSIEXEC, Endpoint  # noqa: E402
from management import ManagementServer  # noqa: E402
from bad_servers import measure_bad_servers  # noqa: E402
from big_payload import INSTALLER, make_archive, make_executable  # noqa: E402
from figures import Figures  # noqa: E402
from wrapper import make_wrapper, package_properties, run_wrapper  # noqa: E402

MIB = 1 << 20
FOLDER = BUILD / "bench"
LOG_SIZE = 170 * MIB
PAYLOAD_SIZE = 256 * MIB
PACKAGE = r"C:\Setup\agent.msi"
# The file's part last, as the installer sends it.
CURL = ["curl", "-s", "-o", "/dev/null", "-H", "Transfer-Encoding: chunked", "-H", "Expect:", "-F", "installerResult=SUCCESS",
        "-F"]


def longest_body(server):
    """Seconds it took the server to read the longest body that came since the last call."""
    bodies = {place: place.with_suffix(".body").stat().st_size for place in server.folder.glob("*.json")}
    seconds = json.loads(max(bodies, key=bodies.get).read_text())["seconds"]
    for place in bodies:
        place.unlink()
        place.with_suffix(".body").unlink()
    return seconds


def on_fresh_endpoint(work, installer=INSTALLER):
    endpoint = Endpoint(installer)
    try:
        return work(endpoint)
    finally:
        endpoint.close()


def first_installation(token, *arguments, exe=INSTALLER, log_size=11, prepare=lambda endpoint: None):
    def work(endpoint):
        prepare(endpoint)
        run = endpoint.run("-q", "-t", token, *arguments, time_scale=1, script={"log_size": log_size})
        assert run.code == 0, endpoint.story()
        return run

    return on_fresh_endpoint(work, exe)


def bare_installation():
    def work(endpoint):
        endpoint.put(PACKAGE, BUILD / "payload" / "KelvaneInstaller.msi")
        run = endpoint.run(exe=MSIEXEC, command_line=f'"{MSIEXEC}" /qn /norestart /i "{PACKAGE}"', time_scale=1)
        assert run.code == 0, endpoint.story()
        return sum(intervals(run))

    return on_fresh_endpoint(work)


def moment(run, after=0, **wanted):
    """When the first record with these values was written; with after=1, the record after it."""
    at = next(at for at, record in enumerate(run.records) if wanted.items() <= record.items())
    return run.times[at + after]


def intervals(run, *ends):
    """Seconds from the run's start to the first of these records, from there to the next, and so on; without any, to its
    end."""
    moments = [moment(run, kind="started"), *(moment(run, **end) for end in ends or [STEPS["finishing"]])]
    return [end - start for start, end in zip(moments, moments[1:])]


def settle(*files):
    """Earlier writes are on the disk; these files are not in memory."""
    os.sync()
    for file in files:
        with open(file, "rb") as content:
            os.posix_fadvise(content.fileno(), 0, 0, os.POSIX_FADV_DONTNEED)


def measure_upload(figures, server, runs=5):
    # Both logs have just been written.
    log = FOLDER / "log.etl"
    ours, curl, small, large = [], [], [], []
    for _ in range(runs):
        for size, peaks in (MIB, small), (LOG_SIZE, large):
            run = first_installation(server.token, "--send_log", log_size=size)
            peaks.append(run.of_kind("ended")[0]["peak_working_set"] / MIB)
            seconds = longest_body(server)
        ours.append(LOG_SIZE / MIB / seconds)
        log.unlink(missing_ok=True)
        log.write_bytes(bytes(LOG_SIZE))
        subprocess.run([*CURL, f"file=@{log};type=application/octet-string", server.url + "/api/v1.6/upload/installer-log"],
                       check=True)
        curl.append(LOG_SIZE / MIB / longest_body(server))
    figures.add("upload, 170 MiB log", "MiB/s", ours, curl, "curl -F", at_least=0.8)
    figures.add("peak memory, 170 MiB log", "MiB", large, small, "1 MiB log")
    figures.add("peak memory: growth", "MiB", [one - other for one, other in zip(large, small)], at_most=16)


def measure_extraction(figures, server, runs=3):
    archive = make_archive(FOLDER, PAYLOAD_SIZE)
    exe = make_executable(archive, FOLDER / "OstravelInstaller.exe")
    place = FOLDER / "unpacked"

    def counterpart(cold):
        shutil.rmtree(place, ignore_errors=True)
        settle(*[archive] * cold)
        start = time.monotonic()
        subprocess.run(["unzip", "-q", archive, "-d", place], check=True)
        return time.monotonic() - start

    def installer(cold):
        run = first_installation(server.token, exe=exe,
                                 prepare=lambda endpoint: settle(*[endpoint.unix(r"C:\Setup\OstravelInstaller.exe")] * cold))
        before, written, unpacked, after = intervals(run, STEPS["discovery"], {"event": "FinishedDroppingResourcesZip"},
                                                     STEPS["extraction"], STEPS["first report"])
        return written, unpacked, before + written + unpacked + after

    for state, cold in ("warm", False), ("cold", True):
        ours, unzip = zip(*[(installer(cold), counterpart(cold)) for _ in range(runs)])
        written, unpacked, until_package = zip(*ours)
        extracted = list(map(sum, zip(written, unpacked)))
        figures.add(f"extraction, {state}", "s", extracted, unzip, "unzip", at_most=0.6)
        figures.add(f"extraction, {state}: written", "s", written)
        figures.add(f"extraction, {state}: unpacked", "s", unpacked)
        figures.add(f"start to msiexec, {state}", "s", until_package, unzip, "unzip")


# Each ends with the record before which the next one begins; the last one with the run.
STEPS = {
    "process start": {"kind": "process"},
    "log session": {"event": "Hello From OstravelInstaller!"},
    "lock": {"after": 1, "kind": "wait", "call": "WaitForSingleObject", "ms": 10000},
    "discovery": {"event": "ExtractingResources"},
    "extraction": {"after": 1, "event": "FinishedDroppingResourcesZip"},
    "first report": {"event": "executeInstallerCommand"},
    "package": {"event": "ExecuteProcessProcessFinished"},
    "finishing": {"kind": "ended"},
}


def wrapped_installation(wrapper, properties):
    return on_fresh_endpoint(lambda endpoint: sum(intervals(run_wrapper(endpoint, wrapper, properties))))


def log_tool(run):
    """Seconds that logman ran."""
    started = [at for at, record in enumerate(run.records) if "logman.exe" in record.get("application", "")]
    ended = [next(at for at in range(start, len(run.records)) if run.records[at].get("event") == "UserLog") for start in started]
    return sum(run.times[end] - run.times[start] for start, end in zip(started, ended))


def measure_installation(figures, server, runs=7):
    ours, others = [], {}
    wrappers = {name: make_wrapper(FOLDER, name) for name in ("zlib", "lzma")}
    for _ in range(runs):
        ours.append(first_installation(server.token))
        others.setdefault("msiexec alone", []).append(bare_installation())
        for name, wrapper in wrappers.items():
            seconds = wrapped_installation(wrapper, package_properties(ours[-1]))
            others.setdefault(f"NSIS wrapper ({name})", []).append(seconds)
    steps = [intervals(run, *STEPS.values()) for run in ours]
    tool = list(map(log_tool, ours))
    figures.add("first installation", "s", list(map(sum, steps)), others["msiexec alone"], "msiexec alone")
    without = [sum(one) - other for one, other in zip(steps, tool)]
    for name, seconds in others.items():
        figures.add(f"without logman, {name}", "s", without, seconds, name, at_most=1.5 if "zlib" in name else None)
    figures.add("first installation: logman", "s", tool)
    for name, seconds in zip(STEPS, zip(*steps)):
        figures.add(f"first installation: {name}", "s", seconds)


def measure_crowd(figures, count=100):
    """So many at once: each ends, one installs, those that got the lock after it find the agent, the others do not wait on."""
    def work(endpoint):
        start = time.monotonic()
        runs = [endpoint.run("-q", "-t", "T", "--stateless_upgrade", "1", background=True, time_scale=1) for _ in range(count)]
        codes = [run.wait().code for run in runs]
        assert codes.count(0) == 1 and set(codes) <= {0, 1000, 1002}, codes
        return time.monotonic() - start

    figures.add(f"{count} instances at once, until the last one ended", "s", [on_fresh_endpoint(work)])


def measure_size(figures):
    size = (BUILD / "unpacked" / "OstravelInstaller.exe").stat().st_size / 1e6
    figures.add("executable without payload", "MB", [size], at_most=3.0)


def main():
    shutil.rmtree(FOLDER, ignore_errors=True)
    FOLDER.mkdir(parents=True)
    print(f"{os.cpu_count()} processors, load {os.getloadavg()[0]:.1f}; median (least-most) of each")
    figures = Figures()
    with ManagementServer(FOLDER / "server") as server:
        measure_size(figures)
        measure_installation(figures, server)
        measure_crowd(figures)
        measure_bad_servers(figures, FOLDER)
        measure_upload(figures, server)
        measure_extraction(figures, server)
    shutil.rmtree(FOLDER)
    figures.write(BUILD / "bench.json")


if __name__ == "__main__":
    main()
