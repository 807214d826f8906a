"""The program that proves the rest on Windows, as it is handed out: what Wine can do of it passes here."""

import xml.etree.ElementTree as xml
import zipfile

import pytest

from harness import BUILD, HOST
from runs import text_of
from test_continuation import TASK

PROGRAM = r"C:\Acceptance\acceptance.exe"
LEFT = [r"C:\Program Files\OstravelInstaller", r"C:\Program Files\Ostravel", r"C:\OstravelAcceptanceWork"]


@pytest.fixture
def acceptance(endpoint):
    """Runs the program with these arguments: the reasons of the items that it could not try, by their names."""
    folder = endpoint.unix(r"C:\Acceptance")
    with zipfile.ZipFile(BUILD / "acceptance.zip") as archive:
        archive.extractall(folder)

    def run(*arguments):
        result = endpoint.wine(PROGRAM, "--launcher", HOST / "launcher.exe", *arguments)
        results = folder / "results" / "".join(arguments).strip("-")
        print(result.stdout, text_of(results / "runs.txt"))
        assert result.returncode == 0
        cases = xml.parse(results / "junit.xml").findall(".//testcase")
        return {case.get("name"): [reason.get("message") for reason in case.findall("skipped")] for case in cases}

    return run


def test_acceptance(endpoint, acceptance):
    """Whatever is not tried says that Wine is the reason. The machine is put back, which each call looks at first."""
    items = acceptance()
    assert sum(not reasons for reasons in items.values()) >= 20
    assert all("\nWine " in reason for reasons in items.values() for reason in reasons)
    assert acceptance("--restart") == {"TaskIsRegistered": []}
    endpoint.reboot()
    assert endpoint.run_task(endpoint.tasks[TASK]).code == 0
    assert acceptance("--continue") == {"AgentIsInstalled": []}
    assert not endpoint.tasks and not any(endpoint.unix(place).exists() for place in LEFT)
