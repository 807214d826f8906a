"""Where a run works, and that nobody else chooses, blocks or reads it."""

import os
import re
import time

import pytest

from agents import BASE, TEMP, left, result_file
from harness import SESSIONS
from management import ManagementServer, token

OURS = "O:BAD:P(A;OICI;FA;;;BA)(A;OICI;FA;;;SY)"
OUR_FILE = "O:BAD:P(A;;FA;;;BA)(A;;FA;;;SY)"
FALLBACK = "could not be created, falling back to windows temp directory"


def install(machine, *arguments, **options):
    return machine.run("-q", "-t", "T", *arguments, **options)


def created(run, pattern):
    """The places of this form that the run made for administrators only."""
    places = [record["path"][4:] for record in run.of_kind("created") if record["security"] in (OURS, OUR_FILE)]
    return [place for place in places if re.fullmatch(pattern, place)]


def test_base_folder(machine):
    first, second = install(machine), install(machine)
    assert [created(run, re.escape(BASE)) for run in (first, second)] == [[BASE], []]
    assert second.recorded(kind="secured", path="\\\\?\\" + BASE, security=OURS)
    work = [created(run, re.escape(BASE) + r"\\Run_[-0-9A-F]{36}") for run in (first, second)]
    assert work[0] != work[1] and all(len(made) == 1 for made in work)
    assert all(FALLBACK not in str(run.all_events) for run in (first, second)) and not left(machine)


PLACE = "Files\\OstravelInstaller"


@pytest.mark.parametrize("mode, script", [
    (None, {}), (None, {"fail": f"CreateDirectoryW:*:112:{PLACE}"}), (0o777, {}), (0o755, {"link": PLACE}),
    (0o755, {"owner": PLACE + ":O:BUD:P(A;OICI;FA;;;BA)"}), (0o755, {"owner": PLACE + ":O:BAD:(A;OICIIO;GA;;;AU)"})])
def test_base_folder_that_is_not_used(endpoint, mode, script):
    """A file is in its place, the disk is full, others may write there, it is a link, somebody else's, or will be."""
    place = endpoint.unix(r"C:\Program Files") / "OstravelInstaller"
    if mode:
        place.mkdir()
        place.chmod(mode)
    elif not script:
        place.write_text("")
    run = install(endpoint, script=script)
    assert run.code == 0 and result_file(endpoint) == "0" and FALLBACK in str(run.all_events)
    assert run.events_named("ExtractingResources")[0]["ZipPath"] == TEMP + r"\temp.zip"
    assert not run.of_kind("secured") and (not mode or place.exists() and not list(place.iterdir()))
    assert {entry.suffix for entry in endpoint.unix(TEMP).iterdir()} == {".txt", ".etl"}


# A run with nothing to do: there is no stage 3.
NOTHING = ("-q", "-r", "3")
WORK = r"C:\Work"
GUID = "[-0-9A-F]{36}"
LOG = r"OstravelInstallerLog_\d{4}(_\d\d){5}\.etl"


def test_everything_is_made_for_administrators(machine, tmp_path):
    """The record of the last report comes when the working directory is gone: it lies in a folder of its own."""
    with ManagementServer(tmp_path / "requests") as server:
        run = machine.run("-q", "-t", server.token, "--temp_path", WORK + r"\new")
        assert run.code == 0 and len(server.uploads) == 2
    base, work = re.escape(BASE + "\\"), re.escape(WORK)
    for pattern in (rf"{work}\\new", rf"{work}\\new\\temp_content", rf"{work}\\new\\temp\.zip", base + LOG,
                    rf"{work}\\new\\OstravelInstallerMetadata_{GUID}\.txt", rf"{base}Run_{GUID}",
                    rf"{base}Run_{GUID}\\OstravelInstallerMetadata_{GUID}\.txt",
                    re.escape(TEMP + "\\") + r"SC-exit-code\.txt"):
        assert len(created(run, pattern)) == 1, pattern
    assert not left(machine) and not machine.unix(WORK + r"\new").exists()
    machine.unix(WORK).rmdir()


def names_of_the_next(seconds):
    now = time.time()
    return [time.strftime("OstravelInstallerLog_%Y_%m_%d_%H_%M_%S.etl", time.localtime(now + n)) for n in range(seconds)]


def test_logs(endpoint):
    """A name that is taken is left alone, the newest ten stay; no session: no log, and no folder for it."""
    old = [endpoint.put(rf"{BASE}\OstravelInstallerLog_2020_01_01_00_00_{n:02}.etl", "old") for n in range(11)]
    endpoint.put(BASE + r"\other.etl", "other")
    taken = [endpoint.put(rf"{BASE}\{name}", "taken") for name in names_of_the_next(8)]
    run = install(endpoint)
    (log,) = created(run, re.escape(BASE + "\\") + LOG)
    kept = {place.name for place in left(endpoint, "OstravelInstallerLog_")}
    assert kept == {place.name for place in taken} | {endpoint.unix(log).name, old[-1].name}
    assert {place.read_text() for place in taken} == {"taken"} and endpoint.unix(log).read_text() == "test trace\n"
    assert not list(endpoint.unix(SESSIONS).iterdir()) and endpoint.unix(BASE + r"\other.etl").exists()
    run = endpoint.run(*NOTHING, "-a", "A" * 4000, script={"logman": "stop:1:1"})
    assert not list(endpoint.unix(SESSIONS).iterdir()) and run.logman[-1] == run.logman[-2].replace(" -fd", "")
    assert run.events_named("Hello From OstravelInstaller!")[0]["CommandLine"].endswith("A[...]")
    for place in endpoint.unix(BASE).iterdir():
        place.unlink()
    run = endpoint.run(*NOTHING, script={"logman": "create:*:1"})
    assert run.code == 2000 and len(run.logman) == 10 and not endpoint.unix(BASE).exists()


@pytest.mark.parametrize("outcome", ["hang", "+5", "0"])
def test_sessions(machine, outcome):
    """Those of dead runs are stopped, and one that was made although its command did not say so."""
    names = [f"OstravelInstallerLogEtwSession_{n:08}-0000-0000-0000-000000000000" for n in range(4)]
    files = ["gone.etl", "old.etl", "young.etl", "old.etl"]
    for session, file in zip([*names[:3], "Other_" + names[3]], files):
        machine.put(rf"{SESSIONS}\{session}", rf"{BASE}\{file}")
    for name, age in ("old.etl", 90000), ("young.etl", 80000):
        os.utime(machine.put(rf"{BASE}\{name}", "x"), (time.time() - age,) * 2)
    run = install(machine, script={"logman": f"create:1:{outcome}"}, time_scale=1000)
    assert run.code == 0 and {place.name for place in machine.unix(SESSIONS).iterdir()} == {names[2], "Other_" + names[3]}
    stops = [command for command in run.logman if command.startswith("logman stop")]
    assert stops[-3:-1] == [f"logman stop {name} -fd -ets" for name in names[:2]]


RESULT = TEMP + r"\SC-after-reboot-exit-code.txt"


def plant(machine, kind):
    """What stands where the result is to be, and the victim that it stands for."""
    victim, place = machine.put(r"C:\victim\file", "kept"), machine.unix(RESULT)
    place.unlink(missing_ok=True)
    if kind == "folder":
        machine.put(RESULT + r"\deep\file", "planted")
    else:
        place.hardlink_to(victim)
    return victim


@pytest.mark.parametrize("kind", ["folder", "hard link"])
def test_result_file_that_somebody_plants(machine, kind):
    """Before the run, and again between the removal and the creation."""
    plant(machine, kind)
    started = machine.run(*NOTHING, background=True, script={"pause": "CreateFileW:2:SC-after"})
    started.wait_for(kind="paused")
    victim = plant(machine, kind)
    started.go()
    run = started.wait()
    assert (run.code, machine.unix(RESULT).read_text(), victim.read_text()) == (2000, "2000", "kept")
    assert machine.unix(RESULT).stat().st_nlink == 1
    assert created(run, re.escape(RESULT)) == [RESULT]


def test_result_file_that_cannot_be_written(machine):
    """On a full disk no half of it stays, nor the folder of the last report; whoever holds up its removal does not hold up
    the run."""
    assert machine.run(*NOTHING).code == 2000 and machine.unix(RESULT).read_text() == "2000"
    run = machine.run(*NOTHING, "-t", token("http://127.0.0.1:1"), script={"fail": "WriteFile:*:112"}, time_scale=1000)
    assert run.code == 2000 and not machine.unix(RESULT).exists() and not left(machine)
    assert len(created(run, rf"{re.escape(BASE)}\\Run_{GUID}\\Ostravel.*txt")) == 3
    machine.put(RESULT, "planted")
    run = machine.run(*NOTHING, script={"fail": "CreateFileW:*:hang:SC-after"})
    assert run.code == 2000 and len(run.of_kind("fault")) == 2 and machine.unix(RESULT).read_text() == "planted"
    victim = plant(machine, "hard link")
    victim.chmod(0o444)  # Wine does not delete it so
    assert machine.run(*NOTHING).code == 2000 and victim.read_text() == "kept" and not victim.stat().st_mode & 0o222


def test_environment_of_the_user(machine):
    run = install(machine, script={"env": [rf"{name}=C:\elsewhere" for name in
                                           ("WINDIR", "SystemRoot", "ProgramFiles", "ProgramW6432", "ProgramData")]})
    assert run.code == 0 and not machine.unix(r"C:\elsewhere").exists() and result_file(machine) == "0"
    assert created(run, re.escape(BASE + "\\") + LOG)


def test_killed_run(endpoint):
    """Its working directory goes with the next run, and its trace session when a day is over; nobody else's goes."""
    killed = install(endpoint, background=True, script={"pause": "CreateProcessW:1:msiexec"})
    killed.wait_for(kind="paused")
    killed.kill()
    (session,), (log,), (work,) = endpoint.unix(SESSIONS).iterdir(), left(endpoint, "OstravelInstallerLog_"), left(endpoint, "Run_")
    foreign = endpoint.put(BASE + r"\Run_foreign\file", "x")
    os.utime(log, (time.time() - 90000,) * 2)
    run = install(endpoint, script={"owner": r"Run_foreign:O:BUD:P(A;;FA;;;BA)"})
    assert run.code == 0 and left(endpoint, "Run_") == [foreign.parent] and not list(endpoint.unix(SESSIONS).iterdir())


@pytest.mark.parametrize("name", ["temp.zip", "temp_content"])
def test_working_directory_of_somebody_else(machine, name):
    """What he put under our names is removed; what is ours he cannot exchange while it is used."""
    work, victim = machine.unix(WORK), machine.put(r"C:\victim\file", "kept")
    place = machine.put(rf"{WORK}\{name}" + (r"\planted" if name == "temp_content" else ""), "planted")
    place.unlink()
    place.hardlink_to(victim)
    started = install(machine, "--temp_path", WORK, background=True, script={"pause": "CreateFileW:1:KelvaneInstaller.msi"})
    started.wait_for(kind="paused")
    assert machine.wine("cmd", "/c", "ren", WORK + "\\" + name, "mine").returncode != 0
    started.go()
    assert started.wait().code == 0 and victim.read_text() == "kept" and not list(work.iterdir())
    work.rmdir()
