"""Runs that remove the installed agent, and install the new one when they may."""

import pytest

from agents import *

REMOVED = (*CLEANING, "The Agent uninstalled successfully.")
HALF = (*CLEANING, "Uninstallation will complete after a reboot.")
LATER = (*CLEANING, "Kelvane Agent seems healthy. Old directories cleaning will be done after a reboot.")
MONITOR = (*CLEANING, "The uninstallation failed because KelvaneMonitor is stuck.")
AGAIN = "--ignore_pending_reboot_request"
IN_SAFE_MODE = (*CLEANING, "Cannot install the Agent in Safe Mode.")
# Cleaner's exit code: how a run with --clean_only ends, one that may go on at once, one that may not.
CLEANER = {0: ((0, REMOVED), (2002, IN_SAFE_MODE), (103, REBOOT_FIRST)),
           1: ((2003, NOT_CLEANED),) * 3,
           2: ((200, HALF), (103, REBOOT_FIRST), (103, REBOOT_FIRST)),
           3: ((200, HALF), (2002, IN_SAFE_MODE), (2002, IN_SAFE_MODE)),
           4: ((2004, (*CLEANING, "Safe mode is required for this operation.")),) * 3,
           5: ((202, CLEANED),) * 3,
           6: ((203, LATER),) * 3,
           7: ((2003, NOT_CLEANED), (2002, IN_SAFE_MODE), (103, REBOOT_FIRST)),
           8: ((2003, NOT_CLEANED), (2002, IN_SAFE_MODE), (2002, IN_SAFE_MODE)),
           9: ((2003, NOT_CLEANED),) * 3,
           13: ((2021, NOT_CLEANED),) * 3,
           14: ((2025, NOT_CLEANED),) * 3}
MODES = (["-q", "--clean_only"], [*STATELESS, "--pmu"], ["-q"])


@pytest.mark.parametrize("mode", range(3))
def test_every_exit_code_of_the_cleaner(endpoint, mode):
    install(endpoint, "23.2.1.10")
    arguments = [*MODES[mode], AGAIN, "-t", "the token", "--diagnostic_UID", "the-id"]
    for exit_code, endings in CLEANER.items():
        run = check(endpoint, arguments, *endings[mode], cleaner=f"exit={exit_code} clean=0", script={"cleanboot": 1})
        command, = (command for command in run.commands if "KelvaneCleaner" in command)
        assert command.split(r'KelvaneCleaner.exe"')[1] == (f'{" --stateless_upgrade 1" * (mode == 1)} -t "the token" -d 0 -l 1'
                                                           f'{" -u 1" * (mode == 2)} --diag_uid the-id -v 1 --log 0')
        assert bool(endpoint.tasks) == (run.code == 103)
    if mode:  # the folder of the package's own version is left
        endpoint.put(config() + r"\KelvaneAgent.log", b"")
        run = check(endpoint, [*arguments, "-l", "--diagnostics", "-H", "7", "-v", "3"], 103, REBOOT_FIRST,
                    cleaner="exit=0\nexit=3 clean=0")
        assert run.commands[-2].endswith(f' -t "the token" -H 7{" -u 1" * (mode == 2)} --diag_uid the-id -v 3 --log 0')


def test_clean_and_reinstall_at_once(endpoint):
    install(endpoint, "23.2.1.10", ReadOnlyConfig={"uwfMode": True})
    check(endpoint, [*STATELESS, "--pmu", "--dont_preserve_proxy", "--INSTALLATION_ID", "the-id"], 0,
          [*CLEANING, "Installing the new Agent."], "")
    expected = {"IS_INSTALL_AFTER_CLEANING": "true", "BST_REINSTALL_REASON": "PreventMonitorUnload", "AGENT_UID": AGENT_UID,
                "CURRENT_AGENT_CONFIG_DIR": TEMP + r"\KelvaneConfig", "SERVER_PROXY": "none", "SITE_TOKEN": SITE_KEY,
                "UWF_MODE": "TRUE", "INSTALLATION_ID": "the-id", "HEALTH_CHECK_PASSED": ""}
    assert expected.items() <= endpoint.reg_values(PROPERTIES_KEY).items() and endpoint.products == {"Kelvane Agent": VERSION}
    check(endpoint, ["-q", "--clean_only"], 0, REMOVED, "")
    assert endpoint.products == {}


def test_a_cleaner_that_fails(endpoint):
    install(endpoint)
    rule, diagnostics = "CreateProcessW:{}:5:KelvaneCleaner", ["Taking diagnostics. This may take a few minutes."]
    for arguments, code, lines in (["-q"], 2003, NOT_CLEANED), (["-q", "-o"], 201, diagnostics):
        run = check(endpoint, arguments, code, lines, script={"fail": rule.format("*")})
        assert [wait["ms"] for wait in run.waits if wait["call"] == "Sleep"] == [10000, 20000, 30000, 40000]
    check(endpoint, ["-q"], 202, CLEANED, script={"fail": [rule.format(n) for n in range(1, 5)]})
    for exit_code, option, code, lines in (14, "--clean_only", 2007, MONITOR), (1, AGAIN, 103, [*MONITOR, *STUCK]), \
            (9, AGAIN, 103, [*MONITOR, *STUCK]):
        check(endpoint, ["-q", option], code, lines, f"exit={exit_code} clean=0", script={"monitor": "stopped,running"})


@pytest.mark.parametrize("arguments, script, code, lines", [
    (["-q"], {"monitor": "stopped,running"}, 103, [*CLEANING, *STUCK]),
    (["-q", "--clean_only"], {"monitor": "stopped,running"}, 2007, MONITOR),
    (["-q"], {"monitor": "stopped,running,stopped"}, 202, CLEANED),
    (["-q"], {"monitor": "stopped,running", "port": "0x80070002,0"}, 202, CLEANED),
    (["-q"], {"monitor": "running", "port": "0x80070005"}, 202, CLEANED)])
def test_a_monitor_that_hangs_while_cleaning(endpoint, arguments, script, code, lines):
    install(endpoint)
    run = check(endpoint, arguments, code, lines, "exit=5 clean=0 sleep=1500", script=script, time_scale=1200)
    marks = [wait["ms"] for wait in run.waits].count(600000)
    assert marks > 2 if code == 202 else marks == 2


def test_a_monitor_that_hangs_while_installing(endpoint):
    """The package that was given up goes on to its end."""
    slow = ["-t", "token", "-a", "SAMPLE_DELAY=1500"]
    check(endpoint, ["-q", *slow], 103, ["Running Kelvane Installer", *STUCK], script={"monitor": "running"})
    while not endpoint.products:
        pass
    check(endpoint, [*STATELESS, "--pmu", AGAIN, *slow], 103, [*CLEANING, "Installing the new Agent.", *STUCK], "exit=0",
          script={"monitor": "stopped,running"})


def test_a_first_installation_that_finds_other_products(endpoint):
    arguments, lines = ["-t", "token", "-a", "SAMPLE_FAIL_REASON=2"], ["Running Kelvane Installer"]
    for exit_code in 5, 6, 8, 0:
        code, cleaned = CLEANER[exit_code][2]
        run = check(endpoint, ["-q", *arguments], code, [*lines, *cleaned], f"exit={exit_code}", script={"cleanboot": 1})
        assert run.in_order("InstallerExitCode", "ReinstallingDueToMultipleRelatedProducts", "RunCleaner")
        endpoint.reg_set(r"HKLM\SOFTWARE\Ostravel\Agent", MsiFailureReason=2)
    arguments.append(AGAIN)
    assert "ReinstallInUiModeUnsupported" in check(endpoint, arguments, 2002, lines).event_names
    check(endpoint, ["-q", AGAIN], 2008, [])  # what an earlier run recorded
