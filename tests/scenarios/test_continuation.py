"""Runs that go on after a reboot."""

import hashlib
import json

import pytest

from agents import *
from harness import BUILD, INSTALLER, TASKS
from management import ManagementServer

TASK = "Ostravel\\OstravelInstaller"
AGAIN = "--ignore_pending_reboot_request"
ASK_REBOOT = "OstravelInstaller requires a reboot. Would you like to reboot now?"
PENDING = ["OstravelInstaller already requires a reboot.", "OstravelInstaller will begin running automatically after a reboot."]
DIAGNOSTICS = ["Taking diagnostics. This may take a few minutes."]
INSTALLING = ["Installing the new Agent."]
OPTIONS = ["--INSTALLATION_ID", "the-id", "--diagnostic_UID", "diag", "--tmd", r"C:\T M D", "-a", 'CUSTOMER_ID="a b"',
           "--ppc", "p", "--send_log", "--dont_fail_on_config_preserving_failures"]
ARGUMENTS = (f'-q -r "%d" -t "{SITE_KEY}" INSTALLATION_ID=the-id tmd="C:\\T M D"%s -a "CUSTOMER_ID=\\"a b\\"" --ppc="p" '
             "--diagnostic_UID=diag%s --send_log --dont_fail_on_config_preserving_failures%s")


def after_reboot(endpoint, code, lines, **options):
    task = endpoint.tasks[TASK]
    endpoint.reboot()
    run = endpoint.run_task(task, time_scale=1000, **options)
    return finished(endpoint, run, code, lines, "SC-after-reboot-exit-code.txt")


def scheduled(endpoint, *parts):
    """The task that is registered, and what it starts: exactly these. The folder of the copy."""
    task = endpoint.tasks[TASK]
    copy = endpoint.unix(task["Path"])
    assert task == {"Path": task["Path"], "Arguments": ARGUMENTS % parts, "Trigger": "boot", "UserId": "S-1-5-18",
                    "RunLevel": 1, "RegisteredLogonType": 5, "StartWhenAvailable": True, "AllowDemandStart": False,
                    "DisallowStartIfOnBatteries": False, "StopIfGoingOnBatteries": False, "Priority": 4}
    assert task["Path"].startswith(BASE + r"\QX_R_") and copy.name == "OstravelInstaller.exe"
    assert copy.read_bytes() == endpoint.unix(r"C:\Setup\OstravelInstaller.exe").read_bytes()
    return copy.parent


def restored(run):
    """The record that the run began with."""
    return run.events_named("BuildBasicTelemetryMetadata")[0]["TelemetryMetadata"]


def test_stuck_then_reboot_then_cleaned_then_reboot_then_installed(endpoint):
    install(endpoint, "23.2.1.10")
    run = check(endpoint, ["-q", *OPTIONS], 103, STUCK, "", script=HUNG)
    assert run.in_order("KelvanePortIsDown", "KelvaneMonitorIsStuckOnUnload", "ContinueOnNextBoot", "SchedTask",
             "ScheduleContinuationOnNextBootSucceeded", "CreateExitCodeFile")
    first = scheduled(endpoint, 1, "", "", "")
    check(endpoint, ["-q", "--diagnostics_only"], 0, DIAGNOSTICS, "")
    check(endpoint, ["-q"], 104, PENDING, "")
    assert scheduled(endpoint, 1, "", "", "") == first and endpoint.unix(TEMP + r"\KelvaneDiagnostics.txt").exists()

    run = after_reboot(endpoint, 103, REBOOT_FIRST)
    second = scheduled(endpoint, 2, "", "", "")
    assert "rebootWasRequired : true" in restored(run) and result_file(endpoint) == "104" and not endpoint.products
    run = after_reboot(endpoint, 0, INSTALLING)
    assert "cleaningResult : 2" in restored(run) and [place.name for place in first.iterdir()] == ["OstravelInstaller.exe"]
    expected = {"CUSTOMER_ID": "a b", "SITE_TOKEN": SITE_KEY, "INSTALLATION_ID": "the-id", "DIAG_UID": "diag", "UILevel": "2",
                "IS_INSTALL_AFTER_CLEANING": "true", "BST_REINSTALL_REASON": "NoReason"}
    assert expected.items() <= endpoint.reg_values(PROPERTIES_KEY).items() and endpoint.products == {"Kelvane Agent": VERSION}
    assert not endpoint.tasks and result_file(endpoint) == "104" and left(endpoint, "QX_R_") == [first] == [second]
    check(endpoint, ["-q", "-o"], 0, DIAGNOSTICS, "")
    assert not left(endpoint, "QX_R_")


def test_what_a_run_knows_crosses_the_reboot(endpoint, tmp_path):
    """Whatever the task service makes of the arguments, and although the agent's own files are gone."""
    with ManagementServer(tmp_path / "requests") as server:
        user = SERVER | {"mgmtServer": server.url, "proxy": "http://127.0.0.1:9"}
        install(endpoint, "23.2.1.10", UserConfig=user, ReadOnlyConfig={"uwfMode": True})
        other = endpoint.put(r"C:\Setup\other.msi", BUILD / "packages" / "23.4.1.1.msi")
        endpoint.put(TEMP + r"\cleaner.script", "exit=2")
        arguments = ["--pmu", "-b", *OPTIONS[:6], "-a", "CUSTOMER_ID=%OS%$(Arg0)%QUOTED%", "--INSTALLATION_INITIATOR", "Management",
                     "--alternative_installer_path", endpoint.windows(other)]
        run = endpoint.run(*STATELESS, *arguments, time_scale=1000)
        assert run.code == 103 and " BST_REINSTALL_REASON=PreventMonitorUnload " in endpoint.tasks[TASK]["Arguments"]
        earlier = len(server.uploads)
        after_reboot(endpoint, 0, INSTALLING)
    expected = {"BST_REINSTALL_REASON": "PreventMonitorUnload", "CURRENT_AGENT_CONFIG_DIR": TEMP + r"\KelvaneConfig",
                "CUSTOMER_ID": "%OS%$(Arg0)%QUOTED%", "AGENT_UID": AGENT_UID, "SERVER_PROXY": "http://127.0.0.1:9",
                "UWF_MODE": "TRUE", "INSTALLATION_INITIATOR": "Management", "INSTALLATION_ID": "the-id", "DIAG_UID": "diag"}
    assert expected.items() <= endpoint.reg_values(PROPERTIES_KEY).items() and endpoint.products == {"Kelvane Agent": "23.4.1.1"}
    assert not endpoint.unix(TEMP + r"\KelvaneConfig").exists()


def plant(endpoint, program, user="S-1-5-18"):
    endpoint.put(rf"{TASKS}\{TASK}.json", json.dumps({"Arguments": '-q -r "2"', "Path": program, "UserId": user}))


def test_tasks_of_that_name(endpoint):
    """Ours is known by its account and its copy; what is not ours goes, and what is not known stays."""
    install(endpoint)
    copy, state = (rf"{BASE}\QX_R_1\{name}" for name in ("OstravelInstaller.exe", "Continuation.json"))
    for program, user in (INSTALLER, "S-1-5-18"), (BASE + r"\QX_R_2\gone.exe", "S-1-5-18"), (copy, "Users"), (copy, "nobody"):
        endpoint.put(copy, "")
        plant(endpoint, program, user)
        assert "ForeignSchedTaskFound" in check(endpoint, STATELESS, 1000, SAME).event_names
        assert not endpoint.tasks and not left(endpoint, "QX_R_")
    waiting = {"guard": False, "packageStarted": False, "boots": 0, "arguments": '-q -r "1"', "vdi": False, "uwfMode": False,
               "initiator": "Other", "configBackup": False, "record": {}, "copy": [7, hashlib.sha256(b"program").hexdigest()]}
    guard, waiting = json.dumps(waiting | {"guard": True}), json.dumps(waiting)
    for program, content, script, code, lines, stays in [
            ("program", waiting, {}, 104, PENDING, True), ("", guard, {}, 1000, SAME, False),
            ("program", waiting, {"fail": r"CreateFileW:*:5:QX_R_1\OstravelInstaller.exe"}, 104, PENDING, True),
            ("program", waiting, {"fail": r"CreateDirectoryW:*:1450:Files\OstravelInstaller"}, 104, PENDING, True),
            ("", waiting, {}, 1000, SAME, False), ("programs", waiting, {}, 1000, SAME, False),
            ("Program", waiting, {}, 1000, SAME, False), ("program", waiting, {"fail": "ReadFile:*:23:QX_R_1"}, 1000, SAME, False),
            ("program", waiting[:-9], {}, 1000, SAME, False), ("program", "", {}, 1000, SAME, False),
            ("", "", {"fail": "GetTask:*:0x80070005"}, 1000, SAME, True),
            ("", "", {"fail": "LookupAccountNameW:*:5"}, 1000, SAME, True),
            ("", guard, {"fail": "DeleteTask:*:0x80070005"}, 1000, SAME, True)]:
        endpoint.put(copy, program)
        endpoint.put(state, content)
        plant(endpoint, copy)
        run = check(endpoint, STATELESS, code, lines, script=script)
        assert bool(endpoint.tasks) == bool(left(endpoint, "QX_R_")) == stays
        assert ("ContinuationDamaged" in run.event_names) == (content == waiting and code == 1000)
    assert run.events_named("DeleteSchedTaskFailed")[0].items() >= {"Call": "Could not delete task", "HResult": 0x80070005}.items()


@pytest.mark.parametrize("cleaner, script, code, line", [
    (None, HUNG, 2007, "KelvaneMonitor is stuck after reboot. Terminating."),
    ("clean=0", {}, 2002, "An Agent is already installed."),
    ("clean=1", {"cleanboot": 1}, 2002, "Cannot install the Agent in Safe Mode."),
    ("clean=1", {"desktop": "no", "memory": 1}, 0, *INSTALLING)])
def test_endings_after_the_reboot(endpoint, cleaner, script, code, line):
    install(endpoint)
    check(endpoint, ["-q"], 103, REBOOT_FIRST if cleaner else STUCK, cleaner or "", script={} if cleaner else script)
    run = after_reboot(endpoint, code, [line], script=script)
    assert not endpoint.tasks and not run.boxes and (code == 0) == any("msiexec" in command for command in run.commands)


def test_who_reboots(endpoint):
    install(endpoint)
    yes = "want to upgrade:Yes"
    for arguments, answers, asked, reboots in [([], [yes], 1, 0), ([], [yes, f"{ASK_REBOOT}:Yes"], 1, 1), (["-q"], [], 0, 0),
                                               (["-q", "-b"], [], 0, 1)]:
        run = check(endpoint, [AGAIN, *arguments], 103, REBOOT_FIRST, "clean=0", script={"answer": answers})
        assert [box["text"] for box in run.boxes[1:]] == [ASK_REBOOT] * asked
        assert [tuple(reboot.values())[1:7] for reboot in run.reboots] == [(None, None, 0, 1, 1, 0x80040002)] * reboots
        assert ("Waiting for the cleaner: 0:00" in run.progress) == bool(run.boxes)
    check(endpoint, [AGAIN], 205, [], script={"answer": "want to upgrade:No"})
    check(endpoint, ["--clean_only"], 200, [*CLEANING, "Uninstallation will complete after a reboot."], "exit=2 clean=0")
    run = endpoint.run(AGAIN, "-q", "-b", time_scale=1000, script={"fail": "InitiateSystemShutdownExW:1:5"})
    assert run.code == 103 and run.printed.splitlines()[-1].startswith("Failed to reboot the machine. error: ")


def test_bad_configuration(endpoint):
    install(endpoint, UserConfig="{broken", AgentUid='{"_uid": 5, "_vdi": "true"}', ReadOnlyConfig="[" * 100000)
    known = [*STATELESS, "-t", "token"]
    readable = [*known, "--dont_preserve_agent_uid", "--dont_preserve_proxy"]
    check(endpoint, STATELESS, 2008, NO_TOKEN)
    check(endpoint, known, 2009, NO_UID)
    check(endpoint, readable[:-1], 2006, NO_BACKUP)
    check(endpoint, [*known, "--dont_fail_on_config_preserving_failures"], 1000, SAME)
    check(endpoint, readable, 1000, SAME, script={"fail": r"RegOpenKeyExW:*:5:SOFTWARE\Ostravel"})
    started = endpoint.run(*readable, background=True, script={"pause": "CreateDirectoryW:1:KelvaneConfig"})
    started.wait_for(kind="paused")
    endpoint.unix(config()).rename(endpoint.unix(TEMP) / "gone")
    started.go()
    finished(endpoint, started.wait(), 2006, NO_BACKUP)
