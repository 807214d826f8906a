"""Where a run works, and that nobody else chooses, blocks or reads it."""

import re

import pytest

from agents import BASE, TEMP, left, result_file

OURS = "O:BAD:P(A;OICI;FA;;;BA)(A;OICI;FA;;;SY)"
FALLBACK = "could not be created, falling back to windows temp directory"


def install(machine, *arguments, **options):
    return machine.run("-q", "-t", "T", *arguments, **options)


def created(run, pattern):
    """The places of this form that the run made for administrators only."""
    places = [record["path"].removeprefix("\\\\?\\") for record in run.of_kind("created") if record["security"] == OURS]
    return [place for place in places if re.fullmatch(pattern, place)]


def test_base_folder(machine):
    first, second = install(machine), install(machine)
    assert [created(run, re.escape(BASE)) for run in (first, second)] == [[BASE], []]
    assert second.recorded(kind="secured", path="\\\\?\\" + BASE, security=OURS)
    work = [created(run, re.escape(BASE) + r"\\Run_[-0-9A-F]{36}") for run in (first, second)]
    assert work[0] != work[1] and all(len(made) == 1 for made in work)
    assert all(FALLBACK not in str(run.all_events) for run in (first, second)) and not left(machine)


PLACE = "Files\\OstravelInstaller"


@pytest.mark.parametrize("mode, script", [
    (None, {}), (None, {"fail": f"CreateDirectoryW:*:112:{PLACE}"}), (0o777, {}), (0o755, {"link": PLACE}),
    (0o755, {"owner": PLACE + ":O:BUD:P(A;OICI;FA;;;BA)"}), (0o755, {"owner": PLACE + ":O:BAD:(A;OICIIO;GA;;;AU)"})])
def test_base_folder_that_is_not_used(endpoint, mode, script):
    """A file is in its place, the disk is full, others may write there, it is a link, somebody else's, or will be."""
    place = endpoint.unix(r"C:\Program Files") / "OstravelInstaller"
    if mode:
        place.mkdir()
        place.chmod(mode)
    elif not script:
        place.write_text("")
    run = install(endpoint, script=script)
    assert run.code == 0 and result_file(endpoint) == "0" and FALLBACK in str(run.all_events)
    assert run.events_named("ExtractingResources")[0]["ZipPath"] == TEMP + r"\temp.zip"
    assert not run.of_kind("secured") and (not mode or place.exists() and not list(place.iterdir()))
    assert {entry.suffix for entry in endpoint.unix(TEMP).iterdir()} == {".txt", ".etl"}
