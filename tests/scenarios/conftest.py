import pytest

from harness import MSIEXEC, STAND_IN, Endpoint


@pytest.fixture
def endpoint():
    machine = Endpoint()
    yield machine
    machine.close()


@pytest.fixture(scope="module")
def machine():
    """One endpoint for all tests of a module that leave it as they found it; its msiexec.exe ends as scripted."""
    shared = Endpoint()
    shared.put(MSIEXEC, STAND_IN)
    yield shared
    shared.close()


@pytest.hookimpl(wrapper=True)
def pytest_runtest_makereport(item, call):
    report = yield
    used = item.funcargs.get("endpoint") or item.funcargs.get("machine")
    if report.when == "call" and report.failed and used:
        report.sections.append(("runs", used.story()))
    return report
