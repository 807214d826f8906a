"""What a management server at its worst costs a run: one that accepts and says nothing, one that sends a byte a second."""

import json
import socket
import threading
import time

from agents import SERVER, STATELESS, VERSION, config, install
from harness import Endpoint
from management import ManagementServer

SCALE = 300  # ten minutes are two seconds
# docs/network.md: seconds for an attempt, attempts of a report, and the pause after each.
ATTEMPT, ATTEMPTS, PAUSE = 600, 3, 10
REPORTS = {"upgrade": 2, "clean and install": 3}
ANSWER = b"HTTP/1.1 200 OK\r\nContent-Length: 1000000\r\n\r\n"


class BadServer:
    """Each connection is kept, and what comes on it is not read; it is sent `text`, a byte a second, over and over."""

    def __init__(self, text=b""):
        self.text, self.kept = text, []
        self.socket = socket.create_server(("127.0.0.1", 0))
        self.url = f"http://127.0.0.1:{self.socket.getsockname()[1]}"
        threading.Thread(target=self.accept, daemon=True).start()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.socket.close()

    def accept(self):
        while True:
            try:
                self.kept.append(self.socket.accept()[0])
            except OSError:
                return
            threading.Thread(target=self.send, args=self.kept[-1:], daemon=True).start()

    def send(self, connection):
        try:
            while self.text:
                for byte in self.text:
                    connection.send(bytes([byte]))
                    time.sleep(1)
        except OSError:
            pass


def runs_against(url):
    """An upgrade, and a cleaning with the installation in the same run, of an agent that reports there."""
    endpoint = Endpoint()
    try:
        settings = SERVER | {"mgmtServer": url}
        install(endpoint, "23.2.1.10", UserConfig=settings)
        for name, arguments, code in ("upgrade", (), 12), ("clean and install", ("--pmu",), 0):
            run = endpoint.run(*STATELESS, *arguments, time_scale=SCALE)
            assert run.code == code, endpoint.story()
            endpoint.put(config(VERSION) + r"\UserConfig.json", json.dumps(settings))
            yield name, run
    finally:
        endpoint.close()


def held(run):
    """Seconds, on the program's own clock, that requests and the pauses after them took."""
    total, begun = 0, None
    for at, record in zip(run.times, run.records):
        if record.get("event") == "SendHttpRequest":
            begun, skipped = at, 0
        elif begun is not None and record["kind"] == "wait" and record["call"] in ("Sleep", "WaitForSingleObject"):
            skipped += record["ms"] / 1000 * (1 - 1 / SCALE)
        elif record.get("event") in ("SendHttpRequestResponse", "SendTelemetryFailed", "HttpRequestException"):
            answered = record["event"] == "SendHttpRequestResponse"
            total += at - begun + (0 if answered else skipped)
            begun, skipped = (None if answered else at), 0
    return total


def without_an_agent(run):
    """Seconds from the cleaner's end to the package's start."""
    ends = [at for at, record in zip(run.times, run.records)
            if record.get("event") in ("CleanerRetval", "executeInstallerCommand")]
    return ends[1] - ends[0]


def measure_bad_servers(figures, folder):
    with ManagementServer(folder / "healthy") as server:
        healthy = dict(runs_against(server.url))
    for kind, text in ("mute server", b""), ("a byte a second", ANSWER):
        with BadServer(text) as server:
            for name, run in runs_against(server.url):
                figures.add(f"{kind}: {name} held", "min", [held(run) / 60],
                            at_most=REPORTS[name] * ATTEMPTS * (ATTEMPT + PAUSE) / 60 + 0.1)
        figures.add(f"{kind}: longer without agent", "s", [without_an_agent(run) - without_an_agent(healthy[name])],
                    at_most=1)
