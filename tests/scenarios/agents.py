"""An endpoint with an installed agent, and what every run against it must come to."""

import json

TEMP = r"C:\windows\Temp"
BASE = r"C:\Program Files\OstravelInstaller"  # where runs work
VERSION = "23.3.3.264"
PROPERTIES_KEY = r"HKLM\SOFTWARE\Ostravel\SampleProperties"  # what the sample package was given
SITE_KEY, AGENT_UID = "c2FtcGxlLXNpdGUta2V5", "5a3c1e0f9b7d4286a1f0c3e5d7b98642"
STATELESS = ("-q", "--stateless_upgrade", "1")
SERVER = {"mgmtServer": "", "site": "sample-site", "site_key": SITE_KEY, "proxy": ""}  # no server: no waits for one
HUNG = {"monitor": "running", "port": "0x80070002"}

TESTING = ("Running tests to see if the upgrade will succeed.",)
UPGRADING = (*TESTING, "All tests succeeded.", "Upgrading the Agent.")
UPGRADED = (*UPGRADING, "Upgrade completed successfully.")
SAME = (*TESTING, "The same or a newer version of the Agent is already installed.")
CLEANING = ("Attempting to uninstall the current Agent before installing a newer version.", "Uninstalling the current Agent.")
CLEANED = (*CLEANING, "Kelvane Agent seems healthy. Old directories cleaning completed successfully.")
NOT_CLEANED = (*CLEANING, "OstravelInstaller failed to uninstall the Agent.")
REBOOT_FIRST = (*CLEANING, "The uninstallation completed successfully. A reboot is required before re-installation.")
STUCK = ("KelvaneMonitor is stuck.", "Reboot is required before running OstravelInstaller.")
NO_TOKEN = ("Site token is missing. Terminating.",)
NO_UID = ("Failed retrieving the Agent UUID. Terminating.",)
NO_BACKUP = ("Could not backup the old configuration directory.",)
UNEXPECTED = ("An unexpected error occurred.",)


def config(version=VERSION):
    return rf"C:\Program Files\Ostravel\Kelvane Agent {version}\config"


def install(endpoint, version=VERSION, **files):
    """The agent of a version, with these files of its configuration in place of its own."""
    endpoint.install_agent(version)
    for name, content in ({"UserConfig": SERVER} | files).items():
        endpoint.put(rf"{config(version)}\{name}.json", content if isinstance(content, str) else json.dumps(content))


def left(endpoint, start=""):
    """What lies in the base folder under a name that begins so; logs only where they are asked for."""
    folder = endpoint.unix(BASE)
    return [place for place in (folder.iterdir() if folder.exists() else ())
            if place.name.startswith(start) and (start or place.suffix != ".etl")]


def result_file(endpoint, name="SC-exit-code.txt"):
    return endpoint.unix(rf"{TEMP}\{name}").read_text()


def closing_sentence(endpoint, run):
    """What a person is told of the machine, as it is."""
    if run.code == 200:
        return "What is left of the Ostravel Agent on this machine goes with the next reboot."
    version = endpoint.products.get("Kelvane Agent")
    there = f"Ostravel Agent {version} is {'now' if run.code in (0, 12) else 'still'}" if version else "There is no Ostravel Agent"
    return f"{there} on this machine" + ("; OstravelInstaller goes on by itself after the next reboot." if endpoint.tasks else ".")


def finished(endpoint, run, code, lines, result="SC-exit-code.txt"):
    """Every ending: result, printed lines, exit-code file, working directory gone, lock released."""
    if run.console is not None:
        lines = [f"OstravelInstaller {VERSION}", *lines, closing_sentence(endpoint, run)]
    assert run.says_in_the_log(*lines)
    if run.console is not None and not run.reboots:
        lines = [*lines, f"OstravelInstaller finished with code: {code}", "Press Enter to exit."]
    assert (run.code, (run.console or run.printed).splitlines()) == (code, list(lines))
    assert result_file(endpoint, result) == str(code)
    own = {place["TargetDir"].split("\\")[-2] for place in run.events_named("ExtractingResources")}
    assert "StuckMonitorError" in run.event_names or not own & {place.name for place in left(endpoint)}  # hung children use it
    assert run.reboots or (run.event_names[-1], run.events[-1]["fields"]) == ("OstravelInstaller Done", {"ExitCode": code})
    return run


def check(endpoint, arguments, code, lines, cleaner="exit=5 clean=0", **options):
    endpoint.put(TEMP + r"\cleaner.script", cleaner)
    run = finished(endpoint, endpoint.run(*arguments, **{"time_scale": 1000} | options), code, lines)
    assert all(f"{name} of " in str(run.all_events) for name in (options.get("script") or {}).get("missing", []))
    return run
