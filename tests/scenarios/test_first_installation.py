"""A machine without an agent gets one, or is told why not."""

import re

import payload
import pytest
from agents import BASE, TEMP, left
from harness import MSIEXEC, STAND_IN

AGENT = r"HKLM\SOFTWARE\Ostravel\Agent"
RUNNING = "Running Kelvane Installer\n"
UNEXPECTED = "An unexpected error occurred.\n"
IN_PROGRESS = ("Another MSI installation is already in progress. Complete that installation before before you start "
               "this installation.\n")
INVALID = "Invalid MSI command line argument. Consult the Windows Installer SDK for detailed command-line help.\n"
PROVIDERS = ["1D886617-AA23-4A85-8B9C-80574C5B67E7", "0B694327-369B-4B22-94EA-D1B82E68CE53",
             "F0DDEC44-F423-4CC3-ADD7-89C36719E40A", "1B30854F-A52D-4808-A919-BF52C14DC264"]
EVENTS = ["Hello From OstravelInstaller!", "GetPrivateNamespace", "GetMutex", "InstalledAgentVersionNotFound",
          "BuildBasicTelemetryMetadata", "ExtractingResources", "FinishedDroppingResourcesZip",
          "executeInstallerCommand", "ExecuteProcessProcessFinished", "OstravelInstallerExitCode", "CreateExitCodeFile",
          "OstravelInstaller Done"]


NO_SERVER = ["HttpRequestException", "SendTelemetryFailed"]  # the new agent's is not there


def check(endpoint, run, code, printed):
    """A run that came to its end: what it said, and that nothing but its result is left."""
    assert (run.code, run.printed, run.console, run.boxes, run.reboots) == (code, printed, None, [], [])
    assert [(place.name, place.read_text()) for place in endpoint.unix(TEMP).iterdir()] == [
        ("SC-exit-code.txt", str(code))]
    assert not left(endpoint)
    assert run.in_order("CreateExitCodeFile", "OstravelInstaller Done") and run.recorded(call="close", kind="namespace")
    assert run.says_in_the_log(*printed.splitlines())


def package_command(run):
    return next(command for command in run.commands if "logman" not in command)


def test_quiet_installation(endpoint):
    run = endpoint.run("-q", "-t", "dG9rZW4=", "--INSTALLATION_INITIATOR", "Management", "--diagnostic_UID", "D-1",
                       "-a", 'CUSTOMER_ID="a b" INSTALLATION_ID="I 1" SERVER_PROXY="proxy:8080"')
    check(endpoint, run, 0, RUNNING)
    assert {event["event"] for event in run.errors} == {"SendTelemetryFailedNoMgmtUrl", *NO_SERVER}
    assert endpoint.products == {"Kelvane Agent": "23.3.3.264"}
    given = endpoint.reg_values(r"HKLM\SOFTWARE\Ostravel\SampleProperties")
    assert {name: value for name, value in given.items() if value} == {
        "SITE_TOKEN": "dG9rZW4=", "DIAG_UID": "D-1", "INSTALLATION_INITIATOR": "Management", "INSTALLATION_ID": "I 1",
        "CUSTOMER_ID": "a b", "SERVER_PROXY": "proxy:8080", "BST_REINSTALL_REASON": "NoReason", "UILevel": "2"}
    folder = run.events_named("ExtractingResources")[0]["TargetDir"]
    assert re.fullmatch(re.escape(BASE) + r"\\Run_[-0-9A-F]{36}\\temp_content", folder)
    assert package_command(run) == (
        rf'"{MSIEXEC}" CUSTOMER_ID="a b" INSTALLATION_ID="I 1" SERVER_PROXY="proxy:8080" DIAG_UID=D-1 '
        rf'INSTALLATION_INITIATOR=Management /qn /norestart /i "{folder}\KelvaneInstaller.msi" '
        'BST_REINSTALL_REASON="NoReason" SITE_TOKEN="dG9rZW4=" INSTALLATION_ID="I 1"')
    assert run.in_order(*EVENTS) and [run.event_names[0], run.event_names[-1]] == [EVENTS[0], EVENTS[-1]]
    assert {event["channel"] for event in run.events} == {11}
    session, file = re.match(r'logman create trace (OstravelInstallerLogEtwSession_[-0-9A-F]{36}) -o '
                             rf'"({re.escape(BASE)}\\OstravelInstallerLog_\d{{4}}_\d\d_\d\d_\d\d_\d\d_\d\d\.etl)" ',
                             run.logman[0]).groups()
    assert run.logman == [f'logman create trace {session} -o "{file}" -max 200 -ets',
                          *[f"logman update trace {session} -p {{{provider}}} -ets" for provider in PROVIDERS],
                          f"logman stop {session} -fd -ets"]


def test_package_refuses(endpoint):
    """The reason of an earlier run is not taken for this one's; nor is one that is no number."""
    for refusal, code in ("FAIL=1", 2002), ("FAIL_REASON=1", 1001), ("FAIL_REASON=3", 2015), ("FAIL_REASON=4", 2022):
        endpoint.reg_set(AGENT, MsiFailureReason=7 - int(refusal[-1]))
        check(endpoint, endpoint.run("-q", "-t", "T", "-a", "SAMPLE_" + refusal), code, RUNNING)
    script = {"fail": "RegDeleteValueW:*:5:MsiFailureReason"}
    for reason in "4", 4:
        endpoint.reg_set(AGENT, MsiFailureReason=reason)
        check(endpoint, endpoint.run("-q", "-t", "T", "-a", "SAMPLE_FAIL=1", script=script), 2002, RUNNING)
    assert endpoint.products == {}


@pytest.mark.parametrize("exit_code, code, printed", [
    (0, 0, ""), (3010, 0, ""), (1641, 0, ""), (1602, 205, ""), (1618, 1003, IN_PROGRESS), (1639, 1004, INVALID),
    (1603, 2002, ""), (259, 2000, UNEXPECTED)])
def test_exit_codes_of_the_package(machine, exit_code, code, printed):
    run = machine.run("-q", "-t", "T", "-a", "--clean_only -r 1", script={"exit": exit_code})
    check(machine, run, code, RUNNING + printed)
    assert package_command(run).startswith(f'"{MSIEXEC}" --clean_only -r 1 DIAG_UID=')


def test_with_a_person(machine):
    """The package shows its own pages, which ask for the token. Of several products the run only tells."""
    run = machine.run(script={"exit": 1603, "reason": 2})
    check(machine, run, 2002, RUNNING)
    assert "ReinstallInUiModeUnsupported" in run.event_names
    assert re.fullmatch(r'".*?"  DIAG_UID=[-0-9A-F]{36} INSTALLATION_INITIATOR=Other /norestart /i ".*" '
                        r'BST_REINSTALL_REASON="NoReason"', package_command(run))
    run = machine.run("-t", "", script={"stdout": "none", "exit": 3010})
    gone = "There is no Ostravel Agent on this machine."  # the package only says that it has installed one
    assert (run.code, run.console) == (0, f"{RUNNING}{gone}\nOstravelInstaller finished with code: 0\nPress Enter to exit.\n")
    assert len(run.boxes) == 1 and run.says_in_the_log(RUNNING.strip(), gone)
    assert re.fullmatch(r"Unpacking: \d+ %", run.progress[0]) and "Waiting for the package: 0:00" in run.progress


@pytest.mark.parametrize("arguments", [[], ["-c"], ["-o"]])
def test_nobody_can_see_it(machine, arguments):
    """Nothing is asked, shown or started that a person would have to end."""
    run = machine.run(*arguments, "-t", "T", script={"desktop": "no", "exit": 3010})
    check(machine, run, 2010, "")
    assert run.commands == run.logman and run.in_order("NoInteractiveDesktopPresent", "OstravelInstallerEnvironmentError")
    assert not run.recorded(kind="console", call="AllocConsole")


def test_attempts_to_break_off(machine):
    """While the package runs nobody ends the run by accident: with the keyboard, the window or by going away."""
    run = machine.run("-t", "T", script={"interrupt": "msiexec", "stdout": "none", "calls": "yes"})
    assert run.code == 0 and [event["Interruption"] for event in run.events_named("InterruptionRefused")] == ["Ctrl+C", "Ctrl+Break"]
    (off, on), awake = [record["how"] for record in run.of_kind("console") if record["call"] == "EnableMenuItem"], run.of_kind("execution_state")
    assert (off, on) == (1, 0) and [record["state"] for record in awake] == [0x80000001, 0x80000000]
    assert [record["add"] for record in run.of_kind("console") if record["call"] == "SetConsoleCtrlHandler"] == [1, 0]
    assert run.recorded(kind="call", call="CreateWindowExW")  # which refuses the session's end


def test_inside_the_job_of_somebody_else(machine):
    """Before Windows 8 its children cannot have a job of their own."""
    run = machine.run("-q", "-t", "T", script={"fail": "AssignProcessToJobObject:*:5"})
    assert run.code == 0 and len(run.logman) == 6


LONG = "C:\\" + "\\".join(["långa mappar" * 8] * 4)


@pytest.mark.parametrize("given, path, token", [(r"..\Ablage für Ťest\x\..\日本 Δ", r"C:\Ablage für Ťest\日本 Δ", "T"),
                                                (LONG, LONG, "")])
def test_working_directory(endpoint, given, path, token):
    """Seen from where the program was started. A package runs from any name; a path over 260 characters is made, filled
    and removed. No token: no package."""
    run = endpoint.run("-q", "-p", given, "-t", token)
    check(endpoint, run, 0 if token else 2008, RUNNING if token else "")
    assert run.events_named("ExtractingResources")[0]["TargetDir"] == path + r"\temp_content"
    assert len(endpoint.products) == len(token) and not endpoint.unix(path).exists()
    assert ("MissingSiteToken" in run.event_names) == (not token)


def test_working_directory_of_somebody_else(machine):
    """A file in its place, or no place: the Windows folder serves. A folder that is there stays, with what it holds."""
    machine.put(r"C:\Work\file", "kept")
    (machine.prefix / "dosdevices/unc/server/share").mkdir(parents=True)
    share = r"\\server\share\work"
    for path, used in (r"C:\Work\file", TEMP), ("", TEMP), (r"C:\Work", r"C:\Work"), (share, share):
        run = machine.run("-q", "-t", "T", "--temp_path", path)
        check(machine, run, 0, RUNNING)
        assert run.events_named("ExtractingResources")[0]["ZipPath"] == used + r"\temp.zip"
        told = "could not be created, falling back to windows temp directory" in str(run.all_events)
        assert told == (used == TEMP) and [place.name for place in machine.unix(r"C:\Work").iterdir()] == ["file"]


PACKAGE = payload.PARTS["KelvaneInstaller.msi"]
WHOLE = payload.archive({"KelvaneInstaller.msi": PACKAGE})
NO_INSTALLER = "There is no installer in the resources zip"


@pytest.mark.parametrize("content, fail, told", [
    (payload.archive({"VERSION": "1.2.3.4"}), "", NO_INSTALLER), (b"", "", "SizeofResource"),
    (WHOLE[:-30], "", "Zip file could not be opened."),
    (WHOLE[:2000] + b"\xff" * 64 + WHOLE[2064:], "", NO_INSTALLER),
    (WHOLE.replace(payload.checksum(PACKAGE), b"\1\2\3\4"), "", NO_INSTALLER),
    (payload.archive(dict.fromkeys(["../KelvaneInstaller.msi", "C:/KelvaneInstaller.msi"], "")), "", NO_INSTALLER),
    (WHOLE, "WriteFile:1:112", "ExtractResourcesDiskFullException"),
    (WHOLE, "WriteFile:2:112", "ExtractResourcesDiskFullException"),
    (WHOLE, "WriteFile:1:1450", "ExtractResourcesNoSystemResoucesException"),
    (WHOLE, "CreateFileW:1:5:KelvaneInstaller.msi", "ExtractResourcesFailedWithSystemError"),
    (WHOLE, "MsiEnumRelatedProductsW:*:1610", "RelatedProductsUnknown"),
    (WHOLE, "CreateProcessW:1:5:msiexec", "RunFailedWithRunTimeError")], ids=range(12))
def test_package_cannot_be_run(machine, content, fail, told):
    machine.put(r"C:\Setup\x.exe", payload.executable(content))
    run = machine.run("-q", "-t", "T", exe=r"C:\Setup\x.exe", script={"fail": fail or "none:1:1"})
    check(machine, run, 2000, RUNNING * (told == NO_INSTALLER or "msiexec" in fail) + UNEXPECTED)
    assert told in str(run.events) and not run.of_kind("stand_in")
    assert not list(machine.prefix.rglob("KelvaneInstaller.msi"))


def test_setup_program_gets_no_properties(machine):
    content = payload.archive({"VERSION": "x.y", "KelvaneInstaller.exe": STAND_IN.read_bytes()})
    machine.put(r"C:\Setup\x.exe", payload.executable(content))
    for exit_code, code in (0, 0), (3010, 2002):
        run = machine.run("-q", "-t", "T", "-a", "X=1", exe=r"C:\Setup\x.exe", script={"exit": exit_code})
        check(machine, run, code, RUNNING)
        assert re.fullmatch(r'"C:.*\\temp_content\\KelvaneInstaller.exe" /q /wait', package_command(run))


def test_agent_stays_when_nothing_can_replace_it(endpoint):
    endpoint.install_agent("23.2.1.10")
    cleaner = {"KelvaneCleaner.exe": payload.PARTS["KelvaneCleaner.exe"]}
    for parts, arguments in ({"VERSION": "23.x.1.99999", "KelvaneInstaller.msi": PACKAGE}, []), (cleaner, ["--pmu"]), \
            (cleaner, ["--pmu", "--alternative_installer_path", r"C:\nowhere.msi"]):
        endpoint.put(r"C:\Setup\x.exe", payload.executable(payload.archive(parts)))
        run = endpoint.run("-q", "-t", "T", "--stateless_upgrade", "1", *arguments, exe=r"C:\Setup\x.exe")
        assert run.code == 2000 and endpoint.products == {"Kelvane Agent": "23.2.1.10"}


@pytest.mark.parametrize("script, events", [
    ({"fail": "CreateProcessW:*:2:logman"}, EVENTS), ({"logman": ["create:*:1", "update:*:1"]}, EVENTS),
    ({"logman": "create:1:hang"}, EVENTS), ({"fail": "EventRegister:2:8"}, [])])
def test_log_that_cannot_be_kept(machine, script, events):
    run = machine.run("-q", "-t", "T", script=script, time_scale=1000)
    assert run.code == 0 and run.in_order(*events) and bool(run.events) == bool(events)
