"""A run of a program on an endpoint: while it goes on, and what it left behind."""

import json
import re
import subprocess
import time

INSTALLER_PROVIDER = "OstravelInstallerProvider"
PATIENCE = 180  # seconds until a hanging run is a failed one


class Run:
    """What one finished run left behind."""

    def __init__(self, folder):
        self.folder = folder
        self.code = int((folder / "exit.txt").read_text())
        self.printed = text_of(folder / "printed.txt") or ""
        written = text_of(folder / "console.txt")
        self.console = None if written is None else on_screen(written)  # None: never opened
        self.progress = re.findall(r"\r([^\s\r][^\r\n]*)(?=\r)", written or "")  # what the console showed for a time
        self.records = records_of(folder)
        self.times = [record.pop("t") for record in self.records]  # seconds on one clock, record by record
        self.all_events = self.of_kind("event")
        self.events = [event for event in self.all_events if event.get("provider") == INSTALLER_PROVIDER]
        self.event_names = [event["event"] for event in self.events]
        self.errors = [event for event in self.all_events if event["level"] <= 2]  # of the library log, too
        self.boxes, self.reboots, self.waits = map(self.of_kind, ("box", "reboot", "wait"))
        self.logman = [record["command"] for record in self.of_kind("logman")]
        self.commands = [record["command"] for record in self.of_kind("process")]
        broken = [event for event in self.all_events if "error" in event]
        assert not broken, f"events that cannot be decoded: {broken}"
        assert not self.of_kind("hang"), "waits for somebody where nobody is"

    def in_order(self, *names):
        """Whether the installer wrote events of these names in this order, others between them or not."""
        rest = iter(self.event_names)
        return all(name in rest for name in names)

    def says_in_the_log(self, *lines):
        """Whether the log has these printed lines, and each question with its answer."""
        asked = [{"Question": box["text"], "Answer": "Yes" if box["answer"] == 6 else "No"} for box in self.boxes]
        printed = "\n".join(event["Line"] for event in self.events_named("PrintedLine"))
        return printed == "\n".join(lines) and self.events_named("Question") == asked

    def recorded(self, **wanted):
        return any(wanted.items() <= record.items() for record in self.records)

    def of_kind(self, kind):
        return [record for record in self.records if record["kind"] == kind]

    def events_named(self, name):
        """The fields of every event of that name."""
        return [event["fields"] for event in self.events if event["event"] == name]


class Started:
    """A run that goes on beside the test."""

    def __init__(self, endpoint, folder, process):
        self.endpoint, self.folder, self.process = endpoint, folder, process

    def wait(self):
        try:
            self.process.wait(PATIENCE)
        except subprocess.TimeoutExpired:
            self.kill()
            self.process.kill()
            raise AssertionError(f"still running after {PATIENCE} s") from None
        assert (self.folder / "exit.txt").exists(), text_of(self.folder / "errors.txt")
        return Run(self.folder)

    def wait_for(self, **wanted):
        """Until there is a record with these values, e.g. kind="paused" or kind="wait", ms=10000."""
        deadline = time.monotonic() + PATIENCE
        while True:
            ended = self.process.poll() is not None
            if any(wanted.items() <= record.items() for record in records_of(self.folder)):
                return
            assert not ended and time.monotonic() < deadline, f"no such record: {wanted}"
            time.sleep(0.02)

    def go(self):
        """Lets a call go on that the script paused."""
        (self.folder / "go").touch()

    def kill(self):
        self.endpoint.wine("taskkill", "/f", "/pid", (self.folder / "pid.txt").read_text().strip())


def text_of(place):
    return place.read_bytes().decode("utf-8", "replace").replace("\r\n", "\n") if place.exists() else None


def on_screen(written):
    """What stays of it on a console, where what follows a carriage return is written over what is there."""
    lines = []
    for line in written.split("\n"):
        shown = ""
        for part in line.split("\r"):
            shown = part + shown[len(part):]
        lines.append(shown.rstrip(" "))
    return "\n".join(lines)


def records_of(folder):
    return [json.loads(line) for line in (text_of(folder / "record.jsonl") or "").splitlines(True) if line.endswith("\n")]
