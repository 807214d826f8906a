"""One run on a fresh endpoint, and what came of it: `./dev run -- ARGUMENTS`."""

import sys
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "tests" / "scenarios"))

from agents import PROPERTIES_KEY  # noqa: E402
from harness import BUILD, Endpoint  # noqa: E402
from management import ManagementServer  # noqa: E402

AGENT_KEY = r"HKLM\SOFTWARE\Ostravel\Agent"
LEVELS = {2: "error", 3: "warning", 4: "information", 5: "verbose"}


def show(title, lines):
    print(f"\n{title}")
    for line in list(lines) or ["(none)"]:
        print(f"  {line}")


def named(values):
    return [f"{name} = {value}" for name, value in values.items()]


def event_line(event):
    fields = " ".join(f"{name}={value!r}" for name, value in event["fields"].items())
    return f"{LEVELS.get(event.get('level'), '')}  {event['event']}  {fields}".rstrip()


def request_lines(request):
    yield f"{request['method']} {request['path']}"
    for name, value in request.get("status", request.get("parts", {})).items():
        yield f"    {name} = {value}"
    if request.get("file"):
        yield f"    file: {request['file']['file_name']}, {request['file']['size']} bytes"
    for problem in request["problems"]:
        yield f"    problem: {problem}"


def report(endpoint, run, server):
    command_line = (run.folder / "command.txt").read_text().splitlines()[1]
    show("command line", [command_line])
    show("printed messages", run.printed.splitlines())
    show("result code", [run.code])
    show("events", map(event_line, run.events))
    show("requests received", [line for request in server.requests for line in request_lines(request)])
    show("installed product", named(endpoint.products | (endpoint.reg_values(AGENT_KEY) or {})))
    properties = endpoint.reg_values(PROPERTIES_KEY) or {}
    show("recorded properties", named({name: value for name, value in properties.items() if value != ""}))


def main():
    endpoint = Endpoint()
    try:
        with ManagementServer(BUILD / "run-sample-requests") as server:
            run = endpoint.run(*(sys.argv[1:] or ["-q", "-t", server.token]))
            report(endpoint, run, server)
    finally:
        endpoint.close()


if __name__ == "__main__":
    main()
