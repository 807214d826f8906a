"""Runs that find an agent and may upgrade it in place."""

import pytest

from agents import *
from harness import BUILD, MSIEXEC, STAND_IN

ASK = "Are you sure you want to upgrade the Ostravel Agent?"
ASK_MONITORING = ("Some Dynamic Monitoring capabilities will be enabled after the next endpoint restart. Click Yes to restart "
                  "now or No if you plan to manually restart later.")
IN_PROGRESS = ("Another MSI installation is already in progress. Complete that installation before before you start "
               "this installation.")
INVALID = "Invalid MSI command line argument. Consult the Windows Installer SDK for detailed command-line help."
SPACE = "System requirements not met (insufficient space on the endpoint). Terminating the upgrade process."
NOT_DONE = (*UPGRADING, "The upgrade did not succeed.")
FORGOTTEN = (*UPGRADING, "Agent upgrade failed", "", *CLEANED)
FAIL, SLOW, NEWER = ["-a", "SAMPLE_FAIL=1"], ["-a", "SAMPLE_DELAY=1500"], "NewerVersionAlreadyInstalled"
OTHER = ["--alternative_installer_path", "other.msi"]  # beside the program, where it is started


def test_upgrade_that_succeeds(endpoint):
    user = SERVER | {"mgmtServer": "https://127.0.0.1:1", "proxy": "http://10.0.0.1:8080"}
    install(endpoint, "23.2.1.10", UserConfig=user, ReadOnlyConfig={"uwfMode": True})
    endpoint.put(config("23.2.1.10") + r"\deep\Ünï.json", "{}")
    endpoint.put(TEMP + r"\KelvaneConfig\stale.json", "{}")
    run = check(endpoint, [*STATELESS, "--INSTALLATION_ID=the-id", "--diagnostic_UID=the-diag"], 12, UPGRADED)
    assert run.in_order("InstalledAgentVersionFoundFromExeFile", "UsingPreservedProxy", "VersionsInfo",
                        "executeInstallerCommand", "OstravelInstallerExitCode")
    assert "The installation completed successfully." in str(run.all_events)
    folder = run.events_named("ExtractingResources")[0]["TargetDir"]
    assert run.commands[-2] == (
        f'"{MSIEXEC}"  DIAG_UID=the-diag INSTALLATION_INITIATOR=Other AGENT_UID={AGENT_UID} FORCE_SET_AGENT_UID=true '
        fr'SERVER_PROXY=http://10.0.0.1:8080 UWF_MODE=TRUE /qn /norestart /i "{folder}\KelvaneInstaller.msi" '
        fr'CURRENT_AGENT_CONFIG_DIR={TEMP}\KelvaneConfig BST_REINSTALL_REASON="NoReason" SITE_TOKEN="{SITE_KEY}" '
        "INSTALLATION_ID=the-id HEALTH_CHECK_PASSED=true")
    assert endpoint.products == {"Kelvane Agent": VERSION}
    assert not left(endpoint, "KelvaneConfig") and not endpoint.tasks


# On one endpoint with the version that the payload holds: nothing here changes the agent.
POOR, TOO_POOR = {"memory": 1048575999}, "System requirements not met: Minimum 1 GB of RAM is required."
FULL = {"fail": "CreateDirectoryW:*:112:KelvaneConfig"}
UNREADABLE = {"fail": [f"{call}:*:1117:UserConfig.json" for call in ("ReadFile", "_read")]}
UNMET = "System requirements not met: "
DATA = ["--pmu", "-a", r"CUSTOM_DATA_DIR=D:\Data"]
NO_ROOM = UNMET + "Insufficient space on the endpoint. Required: 4 GB on the data drive and 500 MB on the system drive"
SAME_VERSION = [
    ([], {}, 1000, SAME, "SameVersionAlreadyInstalled"),
    (["--force"], {}, 202, [*TESTING, "", *CLEANED], "SameVersionAlreadyInstalled"),
    (["--pmu"], {}, 202, CLEANED, "SkippingReadyForUpgradeChecks RunCleaner"),
    (["--no_initial_installation"], {}, 202, CLEANED, "SkippingReadyForUpgradeChecks RunCleaner"),
    (["--dont_cleanstall", "--force"], {}, 2001, TESTING, "SameVersionAlreadyInstalled"),
    (["--pmu"], POOR, 2015, [TOO_POOR], "SystemRequirementsNotMet"),
    (["--pmu", "-a", "SKIP_MEM_CHECK=true"], POOR, 202, CLEANED, "CheckSystemRequirementsMet"),
    (DATA, {"free.D": 4 << 30}, 202, CLEANED, "CheckSystemRequirementsMet"),
    (DATA, {"free.D": (4 << 30) - 1}, 2015, [NO_ROOM], "SystemRequirementsNotMet"),
    ([], FULL, 2006, NO_BACKUP, "KelvaneConfigBackupFailed"),
    (["--dont_preserve_config_dir"], FULL, 1000, SAME, "VersionsInfo"),
    ([], {"fail": "GetFileAttributesW:2:53:KelvaneConfig"}, 1000, SAME, "VersionsInfo"),
    (["--dont_fail_on_config_preserving_failures"], FULL, 1000, SAME, "KelvaneConfigBackupFailed"),
    (["-t", "token"], UNREADABLE, 2006, NO_BACKUP, "CouldNotDetermineProxy"),
    (["-t", "token", "--dont_fail_on_config_preserving_failures"], UNREADABLE, 1000, SAME, "CouldNotDetermineProxy"),
    (["--pmu"], {"missing": ["AcquireCredentialsHandleW"]}, 2015,
     [UNMET + "Call to AcquireCredentialsHandle failed!: error 2147942527: Procedure not found. [SharedLib\\TlsRequirements "
      "requireSuccess]"], "CheckSystemRequirementsFailure"),
    (["--pmu"], {"missing": ["BCryptEnumContextFunctions"]}, 2015,
     [UNMET + "BCryptEnumContextFunctions of bcrypt.dll: error 127: Procedure not found. [libwin32\\DelayLoad throwMissing]"],
     "CheckSystemRequirementsFailure"),
    (["--pmu"], {"missing": ["FreeCredentialsHandle", "BCryptFreeBuffer"]}, 202, CLEANED, "CheckSystemRequirementsMet"),
    ([], {"missing": ["GetFileVersionInfoSizeW"]}, 1000, SAME, "InstalledAgentVersionFoundFromConfigBaseDir"),
    ([], {"missing": ["FilterConnectCommunicationPort"], "monitor": "running"}, 1000, SAME, "VersionsInfo"),
    ([], {"fail": "FindResourceW:1:1813"}, 2000, UNEXPECTED, "ExtractResourcesFailedWithSystemError")]


def test_the_same_version(endpoint):
    endpoint.add_drive("D")
    install(endpoint)
    for arguments, script, code, lines, event in SAME_VERSION:
        run = check(endpoint, [*STATELESS, *arguments], code, lines, script=script)
        assert run.in_order(*event.split()) and "DowngradeDetected" not in run.event_names
    declined = check(endpoint, STATELESS[1:], 205, [])
    assert [(box["text"], box["caption"], box["type"], box["owned"]) for box in declined.boxes] == [
        (ASK, "OstravelInstaller", 4, False)]


OLD = [*TESTING, "Existing Agent is too old."]
OTHER_VERSIONS = [
    ("4.5.1.1", [([], {}, 202, [*OLD, "", *CLEANED], "AgentTooOldForInitialInstall"),
                 (["--dont_cleanstall"], {}, 2001, OLD, "AgentTooOldForInitialInstall")]),
    ("22.1.1.1", [(OTHER, {}, 1000, SAME, NEWER), ([*OTHER, "--force"], {}, 202, [*TESTING, "", *CLEANED], NEWER),
                  (OTHER, {"missing": ["MsiCloseHandle"]}, 1000, SAME, NEWER),
                  (OTHER, {"missing": ["MsiOpenPackageW"]}, 2000, [*TESTING, *UNEXPECTED], "NoVersionToInstall")]),
    ("23.4.1.1", [(FAIL, {}, 2018, NOT_DONE, "DowngradeFailed"),
                  (["-a", "SAMPLE_FAIL_REASON=1"], {}, 1001, NOT_DONE, "DowngradeFailed"),
                  ([*FAIL, "--force"], {}, 202, FORGOTTEN, "InstallFailed"),
                  ([], {}, 12, UPGRADED, "DowngradeDetected")]),
    ("23.2.1.10", [
        (FAIL, {}, 202, FORGOTTEN, "InstallFailed"), ([*FAIL, "--dont_cleanstall"], {}, 2001, UPGRADING, "InstallFailed"),
        ([], {"free.C": 367001599}, 2023, [*UPGRADING, SPACE],
         "SystemRequirementsNotMetDiskSpace SystemRequirementsNotMetDiskSpaceForUpgrade"),
        (["-a", "SAMPLE_FAIL=1602"], {"free.C": 367001600}, 205, [*UPGRADING, "The upgrade was cancelled by the user."],
         "CheckSystemRequirementsMet InstallerExitCode"),
        (["--dont_cleanstall"], POOR, 2015, [*UPGRADING, TOO_POOR], "StartingUpgrade SystemRequirementsNotMet"),
        ([], {"trust": "0x800B0100"}, 202, [*TESTING, "Existing Agent installed using patched installer.", "", *CLEANED],
         "BaseMsiInstallerIsNotTrusted"),
        ([], {"missing": ["WinVerifyTrust"]}, 202,
         [*TESTING, "Existing Agent installed using patched installer.", "", *CLEANED], "BaseMsiInstallerIsNotTrusted"),
        (SLOW, {"monitor": "stopped,running,stopped"}, 12, UPGRADED, "KelvanePortIsDown")]),
    ("23.2.1.10", [(SLOW, {"monitor": "stopped,running"}, 103, [*NOT_DONE, *STUCK],
                    "RegularUpgradeFailedWithStuckMonitorError")]),
    ("23.2.1.10", [(["-a", "SAMPLE_FAIL_AFTER_REMOVAL=1"], {}, 2001, [*UPGRADING, "Agent upgrade failed. Terminating."],
                    "InstallFailed")])]


@pytest.mark.parametrize("version, runs", OTHER_VERSIONS)
def test_other_versions(endpoint, version, runs):
    install(endpoint, version)
    endpoint.put(r"C:\Setup\other.msi", BUILD / "packages" / "4.5.1.1.msi")
    endpoint.put(config(version)[:-6] + "KelvaneInstaller.msi", b"cached")
    endpoint.reg_set(r"HKLM\SOFTWARE\Ostravel\Agent", RemoveExistingProductsMark=1)  # an earlier run's, which says nothing
    for arguments, script, code, lines, event in runs:
        run = check(endpoint, [*STATELESS, *arguments], code, lines, script={"trust": 0} | script)
        assert run.in_order(*event.split())
        products = {} if "SAMPLE_FAIL_AFTER_REMOVAL=1" in arguments else {"Kelvane Agent": VERSION if code == 12 else version}
        assert endpoint.products == products and bool(endpoint.tasks) == bool(left(endpoint, "QX_R_")) == (code == 103)


def test_what_windows_installer_says(endpoint):
    install(endpoint, "23.2.1.10")
    endpoint.put(MSIEXEC, STAND_IN)
    for script, code, lines in [
            ({"exit": 1618}, 1003, [*UPGRADING, IN_PROGRESS]), ({"exit": 1639}, 1004, [*UPGRADING, INVALID]),
            ({"exit": 1641}, 12, UPGRADED), ({"exit": 1603, "reason": 3}, 202, FORGOTTEN)]:
        check(endpoint, STATELESS, code, lines, script=script)
    # No answer to whether the agent is well is not a no.
    arguments = [*STATELESS, "-t", "token", "--dont_preserve_agent_uid"]
    for question in "OpenServiceW:{}:5:KelvaneAgent", r"GetFileAttributesW:{}:5:23.2.1.10\config":
        check(endpoint, arguments, 12, UPGRADED, script={"fail": question.format(1)})
        check(endpoint, arguments, 2000, [*TESTING, *UNEXPECTED], script={"fail": question.format("*")})
    endpoint.wine("net", "stop", "KelvaneAgent")
    lines = [*TESTING, "Existing Agent didn't pass health check.", "", *CLEANED]
    assert check(endpoint, STATELESS, 202, lines).in_order("AgentNotReadyForUpgrade", "HealthCheckFailed")


def test_an_unknown_version(endpoint):
    endpoint.wine("sc", "create", "KelvaneAgent", "binPath=", r"C:\Odd\agent.exe")
    known = [*STATELESS, "-t", "token"]
    check(endpoint, known, 2009, NO_UID)
    for option in "--dont_preserve_agent_uid", "--dont_fail_on_config_preserving_failures":
        check(endpoint, [*known, option], 2012, [*TESTING, "The current Agent version could not be determined."])
    run = check(endpoint, [*known, "--dont_preserve_agent_uid", "--force"], 202, [*TESTING, "", *CLEANED])
    assert run.in_order("InstalledAgentVersionNotFound", "CouldNotDetermineInstalledVersion", "RunCleaner")
    check(endpoint, STATELESS, 2008, NO_TOKEN)
    check(endpoint, ["-q", "--clean_only"], 2008, NO_TOKEN)
    check(endpoint, ["-q", "--clean_only", "-d", "token"], 202, CLEANED)


def test_questions_about_monitoring(endpoint):
    install(endpoint, "23.2.1.10")
    endpoint.put(r"C:\Setup\other.msi", BUILD / "packages" / "23.4.1.1.msi")
    asking, asked, yes = [*STATELESS[1:], "-a", "SAMPLE_REBOOT=1 SAMPLE_DELAY=1500"], [ASK, ASK_MONITORING], "want to upgrade:Yes"
    for arguments, answers, boxes, reboots in [(asking, [yes], asked, 0), (["-q", *asking, *OTHER, "-b"], [], [], 1),
                                               (asking, [yes, "Dynamic:Yes"], asked, 1)]:
        run = check(endpoint, arguments, 12, UPGRADED, script={"answer": answers})
        assert [box["text"] for box in run.boxes] == boxes and len(run.reboots) == reboots
        times = {line.rpartition(" ")[2] for line in run.progress if line.startswith("Waiting for the package: ")}
        assert len(times) > 1 if boxes else not run.progress
