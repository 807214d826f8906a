"""A machine whose agent is removed gets another, whatever comes in between."""

import json

import pytest

from agents import *
from harness import BUILD, INSTALLER, MSIEXEC, STAND_IN
from test_continuation import INSTALLING, TASK, after_reboot

NO_TASK = ["Failed to create OstravelInstaller's scheduled task."]
REFUSED = "RegisterTaskDefinition:*:0x80070005"
AT_ONCE = [*STATELESS, "--pmu"]
INSTALLED = {"Kelvane Agent": VERSION}
IN_PROGRESS = ("Another MSI installation is already in progress. Complete that installation before before you start this "
               "installation.")


def boot_to_the_end(endpoint):
    """Reboots as long as there is something to run at boot."""
    runs = []
    while endpoint.tasks:
        endpoint.reboot()
        runs.append(endpoint.run_task(endpoint.tasks[TASK], time_scale=1000))
        assert len(runs) < 4
    return [run.code for run in runs]


def cut_off(endpoint, started, **record):
    started.wait_for(**record)
    started.kill()


def paused_at(call):
    return {"script": {"pause": call}}, {"kind": "paused"}


@pytest.mark.parametrize("moments", [
    [(*paused_at("CreateProcessW:1:KelvaneCleaner"), [103, 0]), (*paused_at("RegisterTaskDefinition:1"), [])],
    [(*paused_at("MoveFileExW:2:Continuation.json"), [103, 0]), (*paused_at("CreateProcessW:1:msiexec"), [0])],
    [({}, {"kind": "wait", "ms": 600000}, [103, 0]), (*paused_at("DeleteTask:1"), [2002])]])
def test_power_cuts(endpoint, moments):
    """Between any two steps of a clean and reinstall in one run: the boot alone brings an agent."""
    install(endpoint)
    endpoint.put(TEMP + r"\cleaner.script", "sleep=500")
    for options, record, codes in moments:
        cut_off(endpoint, endpoint.run(*AT_ONCE, background=True, **options), **record)
        assert boot_to_the_end(endpoint) == codes and endpoint.products == INSTALLED
        check(endpoint, STATELESS, 1000, SAME, "")  # what is left goes
        assert not left(endpoint) and not endpoint.tasks


def test_power_cuts_after_the_reboot(endpoint):
    install(endpoint)
    check(endpoint, ["-q"], 103, REBOOT_FIRST, "")
    for call in "CreateProcessW:1:msiexec", "MoveFileExW:1:Continuation.json":
        endpoint.reboot()
        cut_off(endpoint, endpoint.run_task(endpoint.tasks[TASK], background=True, script={"pause": call}), kind="paused")
    check(endpoint, ["-q", "-a", "SAMPLE_FAIL=1", "-t", "token"], 2002, ["Running Kelvane Installer"])  # a guard, no 104
    # What the package has done so far looks like an agent, and is no product.
    endpoint.reg_set(r"HKLM\SOFTWARE\Ostravel\Agent", ConfigBaseDir=r"C:\Program Files\Ostravel\Kelvane Agent 1.2.3.4\config")
    after_reboot(endpoint, 0, INSTALLING)
    assert endpoint.products == INSTALLED and not endpoint.tasks


def test_three_boots(endpoint):
    install(endpoint)
    for fail in True, False:
        check(endpoint, ["-q"], 103, STUCK, script=HUNG)
        for boot in 1, 2, 3:
            assert endpoint.tasks
            if fail:
                run = after_reboot(endpoint, 2000, UNEXPECTED, script={"fail": "FindResourceW:1:1813"})
            else:
                endpoint.reboot()
                task = endpoint.tasks[TASK]
                cut_off(endpoint, endpoint.run_task(task, background=True, script={"pause": "FindResourceW:1"}), kind="paused")
        if not fail:
            run = after_reboot(endpoint, 2000, UNEXPECTED)
        assert "ContinuationGivenUp" in run.event_names and not endpoint.tasks
        check(endpoint, STATELESS, 1000, SAME)
        assert not left(endpoint)


LONG = "X=" + "x" * 32400
UNREADY = [
    ([], {"fail": "CreateFolder:1:0x80070005"}, 2002, NO_TASK), ([], {"fail": "SetSecurityDescriptor:1:0x80070005"}, 2002, NO_TASK),
    ([], {"fail": "Connect:*:0x80070005"}, 2002, NO_TASK),
    ([], {"fail": "CreateDirectoryW:*:112:QX_R_"}, 2000, UNEXPECTED), ([], {"fail": "MoveFileExW:1:112"}, 2000, UNEXPECTED),
    ([], {"fail": r"CreateFileW:1:112:QX_R_"}, 2000, UNEXPECTED), ([], {"fail": "FlushFileBuffers:1:1117"}, 2000, UNEXPECTED),
    ([], {"fail": "MsiOpenDatabaseW:1:110"}, 2000, UNEXPECTED), (["-a", LONG], {}, 2000, UNEXPECTED),
    (["-a", '"' * 16280], {}, 2000, UNEXPECTED),
    (["--alternative_installer_path", r"C:\Setup\none.msi"], {}, 2000, UNEXPECTED),
    (["--alternative_installer_path", r"C:\Setup\text.msi"], {}, 2000, UNEXPECTED),
    (["--alternative_installer_path", r"C:\Setup\text.txt"], {}, 2000, UNEXPECTED)]


def test_an_agent_stays_until_its_successor_is_ready(endpoint):
    install(endpoint)
    for name in "text.msi", "text.txt":
        endpoint.put("C:\\Setup\\" + name, "no package")
    for number, (arguments, script, code, lines) in enumerate(UNREADY):
        mode = (["-q"], AT_ONCE)[number % 2]
        run = check(endpoint, [*mode, *arguments], code, lines, script=script)
        assert not any("KelvaneCleaner" in command for command in run.commands) and not endpoint.tasks and not left(endpoint, "QX_R_")
        assert (code == 2000) == ("RunFailedWithRunTimeError" in run.event_names)
    run = check(endpoint, ["-q"], 2002, NO_TASK, script={"fail": REFUSED})
    failed, = run.events_named("ScheduleContinuationOnNextBootFailed")
    assert failed.items() >= {"Call": "Could not register task", "HResult": 0x80070005}.items()
    install(endpoint, UserConfig=SERVER | {"site_key": 'a" INJECTED=1 "'})
    check(endpoint, ["-q"], 2008, NO_TOKEN)
    assert endpoint.products == INSTALLED


def test_failures_after_the_cleaning(endpoint):
    """The next boot does what this run could not; what only makes that easier may fail."""
    install(endpoint)
    waiting = [*CLEANING, *INSTALLING, *REBOOT_FIRST[2:]]
    for arguments, script, code, lines in [
            (AT_ONCE, {"fail": "CreateProcessW:*:5:msiexec"}, 103, waiting),
            (AT_ONCE, {"fail": ["MoveFileExW:2:112", "RegisterTaskDefinition:2:5"]}, 0, [*CLEANING, *INSTALLING]),
            (["-q"], {"fail": "RegisterTaskDefinition:2:0x80070005"}, 103, REBOOT_FIRST),
            (["-q"], {"fail": "MoveFileExW:2:112"}, 103, REBOOT_FIRST),
            (["-q"], {"fail": "GetExitCodeProcess:6:5"}, 103, REBOOT_FIRST)]:
        check(endpoint, arguments, code, lines, "", script=script)
        assert bool(endpoint.tasks) == (code != 0) and bool(endpoint.products) == (code == 0)
        boot_to_the_end(endpoint)
        assert endpoint.products == INSTALLED
    endpoint.put(TEMP + r"\cleaner.script", "")
    check(endpoint, ["-q"], 103, REBOOT_FIRST, "")
    task = endpoint.tasks[TASK]
    after_reboot(endpoint, 103, [*INSTALLING, *REBOOT_FIRST[2:]], script={"fail": "CreateProcessW:*:5:msiexec"})
    assert endpoint.tasks[TASK] == task


def state_of(task):
    return task["Path"][:-21] + "Continuation.json"


def test_a_state_that_cannot_be_read_or_written(endpoint):
    """At boot: the run goes by its task's arguments, and comes to an end."""
    failing, full = "FindResourceW:1:1813", "MoveFileExW:*:112:Continuation.json"
    install(endpoint)
    check(endpoint, ["-q"], 103, REBOOT_FIRST, "")
    state = state_of(endpoint.tasks[TASK])
    for content in "", '{"guard": tru', '{"guard": 1, "boots": "2"}', bytes(range(256)), '"' + "x" * (10 << 20) + '"':
        endpoint.put(state, content)
        run = after_reboot(endpoint, 2000, UNEXPECTED, script={"fail": failing})
        assert "ContinuationStateUnreadable" in run.event_names and endpoint.tasks
    kept = json.loads(endpoint.unix(state).read_text())
    assert (kept["boots"], kept["copy"][0]) == (1, endpoint.unix(INSTALLER).stat().st_size)
    after_reboot(endpoint, 0, INSTALLING, script={"fail": full})
    assert endpoint.products == INSTALLED and not endpoint.tasks
    check(endpoint, ["-q"], 103, STUCK, "", script=HUNG)
    kept = json.loads(endpoint.unix(state_of(endpoint.tasks[TASK])).read_text())
    endpoint.put(state_of(endpoint.tasks[TASK]), json.dumps(kept | {"arguments": "-q -r x"}))
    run = endpoint.run_task(endpoint.tasks[TASK])
    assert (run.code, run.printed, endpoint.tasks) == (206, "", {}) and "ContinuationGivenUp" in run.event_names
    for fails, code, lines in ([failing], 2000, UNEXPECTED), ([], 103, REBOOT_FIRST), ([REFUSED], 2002, REBOOT_FIRST):
        check(endpoint, ["-q"], 103, STUCK, "", script=HUNG)
        after_reboot(endpoint, code, lines, script={"fail": [full, *fails]})
        assert bool(endpoint.tasks) == (code == 103)
        if endpoint.tasks:
            after_reboot(endpoint, 0, INSTALLING, script={"fail": full})


def test_the_copy_is_what_runs(endpoint):
    install(endpoint)
    started = endpoint.run("-q", background=True, script=HUNG | {"pause": "FindResourceW:1"})
    started.wait_for(kind="paused")
    endpoint.put(INSTALLER, b"MZ exchanged")
    started.go()
    assert started.wait().code == 103
    assert endpoint.unix(endpoint.tasks[TASK]["Path"]).read_bytes() == (BUILD / "OstravelInstaller.exe").read_bytes()


def test_another_installation_at_boot(endpoint):
    install(endpoint)
    check(endpoint, ["-q"], 103, REBOOT_FIRST, "")
    endpoint.put(MSIEXEC, STAND_IN)
    run = after_reboot(endpoint, 1003, [*INSTALLING, IN_PROGRESS], script={"exit": 1618})
    assert [wait["ms"] for wait in run.waits if wait["call"] == "Sleep"] == [30000] * 20 and not endpoint.tasks


@pytest.mark.parametrize("arguments, script, used", [
    (["-q"], {}, False), (AT_ONCE, {}, True), ([*AT_ONCE, "--dont_preserve_config_dir"], {}, False),
    (AT_ONCE, {"owner": "KelvaneConfig:O:BUD:(A;;FA;;;BU)"}, False), (AT_ONCE, {"owner": "KelvaneConfig:O:BAD:(A;;FA;;;BU)"}, False)])
def test_a_backup_that_others_made(endpoint, arguments, script, used):
    install(endpoint)
    check(endpoint, arguments, 103, REBOOT_FIRST, "exit=2")
    endpoint.put(TEMP + r"\KelvaneConfig\UserConfig.json", "{}")
    after_reboot(endpoint, 0, INSTALLING, script=script)
    assert bool(endpoint.reg_value(PROPERTIES_KEY, "CURRENT_AGENT_CONFIG_DIR")) == used
    assert not endpoint.unix(TEMP + r"\KelvaneConfig").exists()


def test_a_backup_before_a_fallback(endpoint):
    endpoint.put(TEMP + r"\KelvaneConfig\UserConfig.json", "{}")
    lines = ["Running Kelvane Installer", *REBOOT_FIRST]
    check(endpoint, ["-q", "-t", "token", "-a", "SAMPLE_FAIL_REASON=2"], 103, lines, "")
    assert not endpoint.unix(TEMP + r"\KelvaneConfig").exists()
