"""The program that proves the rest on Windows, as it is handed out: what Wine can do of it passes here."""

import xml.etree.ElementTree as xml
import zipfile

import pytest

from harness import BUILD, HOST, text_of

SUITES = ["Journeys"]


@pytest.mark.parametrize("suite", SUITES)
def test_acceptance(endpoint, suite):
    """Whatever was not tried has to say that Wine is the reason."""
    folder = endpoint.unix(r"C:\Acceptance")
    with zipfile.ZipFile(BUILD / "acceptance.zip") as archive:
        archive.extractall(folder)
    result = endpoint.wine(r"C:\Acceptance\acceptance.exe", "--launcher", HOST / "launcher.exe", f"--gtest_filter={suite}*")
    print(result.stdout, *map(text_of, folder.glob("results/*.jsonl")))
    assert result.returncode == 0
    cases = xml.parse(folder / "results/junit.xml").findall(".//testcase")
    skipped = [reason.get("message") for case in cases for reason in case.findall("skipped")]
    assert len(cases) > len(skipped) and all(reason.startswith("Wine ") for reason in skipped)
    for place in "Program Files/OstravelInstaller", "Program Files/Ostravel", "OstravelAcceptanceWork":
        assert not (endpoint.prefix / "drive_c" / place).exists()
