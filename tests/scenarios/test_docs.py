"""What operators read is what the code says."""

import math
import re

import pytest
from agents import TEMP, VERSION
from harness import BUILD, TOP, UNINSTALL

DOCS, SRC = TOP / "docs", TOP / "src"
PAGES = [TOP / "README.md", TOP / "CONTRIBUTING.md", *sorted(DOCS.glob("*.md"))]
CODE = {place.relative_to(SRC).as_posix(): place.read_text() for place in SRC.rglob("*") if place.suffix in (".cpp", ".h")}
RESULTS = {int(code): name for name, code in re.findall(r"^    (\w+) = (\d+),", CODE["OstravelInstaller/context/InstallerResult.h"],
                                                        re.MULTILINE) if name != "FallBackToReinstall"}
SCREENS = 100, 130  # lines and columns: two of them


def rows(page, columns):
    """The first columns of the tables' rows, header rows among them."""
    text = (DOCS / page).read_text()
    return [[cell.strip() for cell in re.split(r"(?<!\\)\|", line)[1:columns + 1]] for line in text.splitlines() if line[:2] == "| "]


def listed(cell):
    return [part.strip(" `") for part in cell.split(",")]


def codes(table):
    return [int(code) for row in table if re.fullmatch(r"[\d, ]+", row[0]) for code in listed(row[0])]


@pytest.mark.parametrize("page", PAGES, ids=lambda page: page.name)
def test_pages(page):
    """Short, with links that lead somewhere."""
    text = page.read_text()
    assert sum(max(1, math.ceil(len(line) / SCREENS[1])) for line in text.splitlines()) <= SCREENS[0]
    for target in re.findall(r"\]\(([^)#]+)[^)]*\)", text):
        assert (page.parent / target).exists(), target
    assert page.name == "README.md" or f"({page.relative_to(TOP)})" in PAGES[0].read_text(), "nothing leads here"


def test_results():
    table = [row for row in rows("results.md", 3) if row[2].startswith("`")]
    stated = [part for code, digits, name in table for part in zip(listed(code), listed(digits), listed(name), strict=True)]
    assert {int(code): name for code, _, name in stated} == RESULTS and len(stated) == len(RESULTS)
    assert all(int(code) == int(digits, 16) for code, digits, _ in stated)


def test_mappings():
    """The same codes in the documentation and in the scripts, all of them results; the wrapper knows every one."""
    types = {"Success": "Success", "Soft reboot": "SoftReboot", "Retry": "FastRetry"}
    mapped = [row for row in rows("results.md", 3) if row[1] in types]
    assert all(types[intune] == manager for _, intune, manager in mapped)
    application = re.findall(r"(\d+) = '(\w+)'", (TOP / "deploy" / "New-OstravelApplication.ps1").read_text())
    # Success with 0 is there from the start.
    assert dict(application) | {"0": "Success"} == {code: manager for row, _, manager in mapped for code in listed(row)}
    assert set(codes(mapped)) <= set(RESULTS)
    assert {int(code) for code in re.findall(r"^    (\d+) +=", (TOP / "deploy" / "Install-OstravelAgent.ps1").read_text(),
                                             re.MULTILINE)} == set(RESULTS)


def test_options():
    """Every option that is declared, in its forms, with a value where it takes one."""
    kinds = {name: kind for kind, name in re.findall(r"Option<([\w:]+)> (\w+)", CODE["OstravelInstallerLib/CommandLineUtils.h"])}
    declared = re.findall(r'^    \{"(\w*)", "(\w?)", &Options::(\w+)', CODE["OstravelInstallerLib/CommandLineOptions.cpp"], re.MULTILINE)
    forms = {form: kinds[member] for name, flag, member in declared for form in (name and "--" + name, flag and "-" + flag) if form}
    stated = dict(option.partition(" ")[::2] for row in rows("options.md", 1) for option in re.findall("`(-[^`]+)`", row[0]))
    assert len(declared) > 30 and set(stated) == {*forms, "-h", "--help", "--version"}
    assert all(bool(stated[form]) == (kind != "bool") for form, kind in forms.items() if form.startswith("--"))


def test_telemetry():
    keys = re.findall(r' = L"(\w+)"', CODE["OstravelInstaller/context/TelemetryKeys.h"])
    assert len(keys) > 30 and set(keys) <= {key for row in rows("telemetry.md", 1) for key in listed(row[0])}


@pytest.mark.parametrize("page", PAGES, ids=lambda page: page.name)
def test_names(page):
    """Events, symbols and tests that a page names are there."""
    places = [*(TOP / "tests").rglob("*.py"), *(TOP / "tests").rglob("*.cpp")]
    known = "\n".join([*CODE.values(), *(place.read_text() for place in places)])
    named = re.findall(r"`(test_\w+|[A-Z][a-z]+(?:[A-Z][a-z]+)+|[A-Z]\w+\.[A-Z]\w+)`", page.read_text())
    assert [name for name in named if not re.search(rf"\b{name.replace('.', ', ')}\b", known)] == []


def test_pictures():
    """The picture is of the text: every word of a label is in it."""
    for source in DOCS.glob("*.dot"):
        picture = source.with_suffix(".svg").read_text()
        for label in re.findall(r'label="([^"]+)"', source.read_text()):
            assert all(f">{line}</text>" in picture for line in label.split("\\n")), label


def test_start_up_script(endpoint):
    """With programs in place of the installer and of schtasks: whom it leaves alone, and how often it tries."""
    text = (TOP / "deploy" / "startup.cmd").read_bytes().decode()
    program, share = r"%SystemRoot%\System32\schtasks.exe", "C:\\Share\\"
    assert text.count(program) == 1 and f"set VERSION={VERSION}\r\n" in text
    endpoint.put(share + "startup.cmd", text.replace(program, share + "tasks.exe"))
    for name in "tasks.exe", "OstravelInstaller.exe":
        endpoint.put(share + name, BUILD / "payload" / "KelvaneCleaner.exe")  # records its command line, ends as scripted

    def start_up(task_there):
        endpoint.put(TEMP + r"\cleaner.script", f"exit={1 - task_there} clean=0\nexit=104 clean=0")
        endpoint.put(TEMP + r"\cleaner.log", "")
        result = endpoint.wine("cmd", "/c", share + "startup.cmd")
        log = endpoint.unix(TEMP + r"\cleaner.log").read_text()
        assert result.returncode == (104 if "-q -t" in log else 0)
        return "--stateless_upgrade 1" in log

    endpoint.install_agent("23.2.1.10")
    assert not start_up(True) and [start_up(False) for _ in range(5)] == [True, True, True, False, False]
    for version in VERSION, "23.4.1.1":
        endpoint.reg_delete(r"HKLM\SOFTWARE\OstravelRollout")
        endpoint.install_agent(version)
        assert not start_up(False)
        product = endpoint.reg_value(r"HKLM\SOFTWARE\Ostravel\Agent", "MSIProductCode")
        assert endpoint.reg_value(rf"{UNINSTALL}\{product}", "DisplayVersion") == version  # what detection reads
    for shown, starts in ("23.2.1", True), ("23.4.1", False):
        endpoint.reg_set(rf"{UNINSTALL}\{product}", DisplayVersion=shown)
        assert start_up(False) == starts
