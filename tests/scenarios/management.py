"""The sample management server beside an endpoint, and what it received.

    with ManagementServer(folder) as server:
        endpoint.run("-q", "-t", server.token)
        assert [upload["parts"]["installationPhase"] for upload in server.uploads] == ["installation", "complete"]
"""

import base64
import email.parser
import email.policy
import json
import shutil
import subprocess
import sys
from pathlib import Path

SERVER = Path(__file__).resolve().parent.parent.parent / "sample" / "server.py"
sys.path.append(str(SERVER.parent))
from server import chunks
SITE = "sample-site"


def token(url, site_key=SITE):
    """A site token that says where to report."""
    return base64.b64encode(json.dumps({"url": url, "site_key": site_key}).encode()).decode()


class ManagementServer:
    def __init__(self, folder, behave="", certificate=None):
        self.folder, self.secure = folder, certificate is not None
        shutil.rmtree(folder, ignore_errors=True)
        command = [sys.executable, SERVER, "--keep", folder, "--behave", behave]
        self.process = subprocess.Popen(command + (["--certificate", certificate] if certificate else []),
                                        stdout=subprocess.PIPE, text=True)
        self.port = int(self.process.stdout.readline())

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.kill()
        self.process.communicate()

    @property
    def url(self):
        return f"https://localhost:{self.port}" if self.secure else f"http://127.0.0.1:{self.port}"

    @property
    def token(self):
        return token(self.url)

    def behave(self, behaviour):
        (self.folder / "behave").write_text(behaviour)

    @property
    def requests(self):
        return [{**json.loads(place.read_text()), "body": place.with_suffix(".body").read_bytes()}
                for place in sorted(self.folder.glob("*.json"))]

    @property
    def uploads(self):
        return [request for request in self.requests if request["path"].endswith("/upload/installer-log")]

    @property
    def phases(self):
        return [upload["parts"]["installationPhase"] for upload in self.uploads]


def parsed(upload):
    """(name, file name, type, content) of each part, by Python's own parser of multipart messages."""
    head = f"Content-Type: {upload['headers']['Content-Type']}\r\n\r\n".encode()
    message = email.parser.BytesParser(policy=email.policy.HTTP).parsebytes(head + upload["body"])
    assert not message.defects
    return [(part.get_param("name", header="content-disposition"), part.get_filename(),
             str(part.get("Content-Type", "")), part.get_payload(decode=True)) for part in message.iter_parts()]
