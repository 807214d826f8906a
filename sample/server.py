#!/usr/bin/env python3
"""The sample management server: takes the installer's status reports and uploads on loopback, checks them strictly, keeps them.

    server.py --keep FOLDER [--port N] [--behave BEHAVIOUR] [--certificate PEM]

Prints the port that it listens on. Each request becomes FOLDER/NNN.json (method, path, headers, parts or status, problems) and
FOLDER/NNN.body (its body's bytes). Text in FOLDER/behave takes the place of `--behave` while the server runs: slow=SECONDS answers
late, STATUS answers with that status (and what belongs to it: another place, a demand for a login), long with 3 MiB of text, cut
breaks off in the text, drip never ends it; close resets the connection in the middle of the body, broken does not speak HTTP.
Absent is for the start: the port is reserved, and connections to it are refused.
"""

import argparse
import json
import re
import signal
import socket
import ssl
import struct
import threading
import time
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer
from pathlib import Path

BOUNDARY = b"---------------------------boundary"
DELIMITER = b"--" + BOUNDARY + b"\r\n"
END = b"--" + BOUNDARY + b"--\r\n"
TEXT_HEAD = re.compile(rb'Content-Disposition: form-data; name="([^"\r\n]+)"\r\n\r\n')
FILE_HEAD = re.compile(rb'Content-Disposition: form-data; name="([^"\r\n]+)";filename="([^"\r\n]+)"\r\n'
                       rb"Content-Type: application/octet-string\r\n\r\n")
UPLOAD_HEADERS = {"content-type": "multipart/form-data; boundary=" + BOUNDARY.decode(), "transfer-encoding": "chunked",
                  "user-agent": "QX-WIN/23.3.3.264"}
STATUS_HEADERS = {302: [("Location", "/elsewhere/api/v1.6/upload/installer-log")],
                  401: [("WWW-Authenticate", "NTLM"), ("WWW-Authenticate", 'Basic realm="sample"')]}
LONGEST_BODY = 256 << 20
LONGEST_READ = 64 << 10  # at once, however long a chunk claims to be


class Refused(Exception):
    """A request that is not to the letter what it must be."""


def chunks(stream):
    while True:
        line = stream.readline(32)
        if not re.fullmatch(rb"[0-9A-Fa-f]+\r\n", line):
            raise Refused(f"chunk size line {line!r}")
        size = rest = int(line, 16)
        while rest:
            data = stream.read(min(rest, LONGEST_READ))
            if not data:
                break
            rest -= len(data)
            yield data
        if rest or stream.read(2) != b"\r\n":
            raise Refused("chunk cut short")
        if size == 0:
            return


def chunked_body(stream):
    collected = bytearray()
    for chunk in chunks(stream):
        collected += chunk
        if len(collected) > LONGEST_BODY:
            raise Refused("body too long")
    return bytes(collected)


def parts_of(body):
    """Text parts by name, and what the file part says of itself."""
    texts, file = {}, None
    if not body.startswith(DELIMITER) or not body.endswith(b"\r\n" + END):
        raise Refused("no delimiter at the start, or none at the end")
    start, last = len(DELIMITER), len(body) - len(END) - 2
    while start <= last:
        end = body.find(b"\r\n" + DELIMITER, start)
        end = last if end < 0 else end
        if head := TEXT_HEAD.match(body, start):
            texts[head[1].decode()] = body[head.end():end].decode()
        elif (head := FILE_HEAD.match(body, start)) and not file:
            file = {"name": head[1].decode(), "file_name": head[2].decode(), "size": end - head.end()}
        else:
            raise Refused(f"part {body[start:start + 120]!r}")
        start = end + 2 + len(DELIMITER)
    return texts, file


class Handler(BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"

    def log_message(self, *_):
        pass

    def do_POST(self):
        behaviour = self.server.behaviour()
        if behaviour == "close":
            return self.reset()
        record = {"method": "POST", "path": self.path, "headers": dict(self.headers), "problems": [], "body": b""}
        try:
            self.read_request(record)
        except (Refused, ValueError) as problem:
            record["problems"].append(str(problem))
            self.close_connection = True
        self.server.keep(record)
        if behaviour.startswith("slow="):
            time.sleep(float(behaviour[5:]))
        status = int(behaviour) if behaviour.isdigit() else 200
        self.answer(400 if record["problems"] else status, behaviour, record)

    def read_request(self, record):
        chunked = self.headers.get("Transfer-Encoding") is not None
        if chunked == ("Content-Length" in self.headers):
            raise Refused("neither or both of Content-Length and Transfer-Encoding")
        started = time.monotonic()
        body = record["body"] = (chunked_body(self.rfile) if chunked else
                                 self.rfile.read(min(int(self.headers["Content-Length"]), LONGEST_BODY)))
        record["seconds"] = time.monotonic() - started
        if self.path.endswith("/api/v1.6/installer-status"):
            record["status"] = json.loads(body)
            return
        if not self.path.endswith("/api/v1.6/upload/installer-log"):
            raise Refused("unknown path")
        wrong = [name for name, value in UPLOAD_HEADERS.items() if self.headers.get(name) != value]
        if wrong or not self.headers.get("x-site") or "x-uuid" not in self.headers:
            raise Refused(f"headers {dict(self.headers)}")
        record["parts"], record["file"] = parts_of(body)

    def reset(self):
        self.rfile.read(100)
        self.connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
        self.connection.close()
        self.close_connection = True

    def answer(self, code, behaviour, record):
        if behaviour == "broken":
            self.wfile.write(b"This is not HTTP\r\n\r\n")
            self.close_connection = True
            return
        text = json.dumps({"problems": record["problems"], "padding": "." * (3 << 20 if behaviour == "long" else 0)}).encode()
        unfinished = behaviour in ("cut", "drip")
        self.send_response(code)
        self.send_header("Content-Type", "application/json")
        self.send_header("Content-Length", str(len(text) + unfinished * LONGEST_BODY))
        for name, value in STATUS_HEADERS.get(code, []):
            self.send_header(name, value)
        self.end_headers()
        self.wfile.write(text)
        while behaviour == "drip":
            time.sleep(0.05)
            self.wfile.write(b".")
        self.close_connection = self.close_connection or unfinished


class Server(ThreadingHTTPServer):
    daemon_threads = True

    def __init__(self, port, folder, behave):
        super().__init__(("127.0.0.1", port), Handler, bind_and_activate=False)
        self.folder, self.behave, self.count, self.lock = folder, behave, 0, threading.Lock()
        folder.mkdir(parents=True, exist_ok=True)
        self.server_bind()
        if behave != "absent":
            self.server_activate()

    def handle_error(self, request, client_address):
        pass  # connections that break, or whose client does not trust the certificate

    def behaviour(self):
        override = self.folder / "behave"
        return override.read_text().strip() if override.exists() else self.behave

    def keep(self, record):
        with self.lock:
            self.count += 1
            name = f"{self.count:03}"
        (self.folder / f"{name}.body").write_bytes(record["body"])
        partial = self.folder / f"{name}.partial"
        partial.write_text(json.dumps({**record, "body": None}, indent=1))
        partial.rename(self.folder / f"{name}.json")


def main():
    options = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    options.add_argument("--port", type=int, default=0)
    options.add_argument("--keep", type=Path, required=True)
    options.add_argument("--behave", default="")
    options.add_argument("--certificate", help="PEM file with certificate and key: serve HTTPS")
    chosen = options.parse_args()
    server = Server(chosen.port, chosen.keep, chosen.behave)
    if chosen.certificate:
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(chosen.certificate)
        # The handshake belongs to the thread of its connection.
        server.socket = context.wrap_socket(server.socket, server_side=True, do_handshake_on_connect=False)
    print(server.server_address[1], flush=True)
    if chosen.behave == "absent":
        signal.pause()
    server.serve_forever()


if __name__ == "__main__":
    main()
