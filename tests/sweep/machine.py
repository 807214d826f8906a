"""A machine that is put back between runs in about a second: the same Wine prefix, its changing part exchanged."""

import os
import shutil
import subprocess
import sys
import time
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "scenarios"))

from harness import Endpoint  # noqa: E402

HIVES = ("system.reg", "user.reg", "userdef.reg")
CHANGING = (r"C:\Program Files\Ostravel", r"C:\Program Files\OstravelInstaller", r"C:\ProgramData\Ostravel",
            r"C:\windows\Temp", r"C:\windows\Installer", r"C:\test-host", r"C:\Work")


class Machine(Endpoint):
    """As it is when save() is called, again after each restore()."""

    def save(self, folder):
        self.stop()
        self.started.clear()
        for old in folder, self.unix(r"C:\test-host\runs"):
            shutil.rmtree(old, ignore_errors=True)
        for hive in HIVES:
            self._copy(self.prefix / hive, folder / hive)
        for index, path in enumerate(CHANGING):
            if self.unix(path).exists():
                self._copy(self.unix(path), folder / str(index))
        self.saved = folder
        self.boot()

    def restore(self):
        self.stop()
        for hive in HIVES:
            self._copy(self.saved / hive, self.prefix / hive)
        for index, path in enumerate(CHANGING):
            place = self.unix(path)
            shutil.rmtree(place, ignore_errors=True)
            if (self.saved / str(index)).exists():
                self._copy(self.saved / str(index), place)
        self.started.clear()
        self.boot()

    def settle(self, patience=60):
        """Until what a killed run has started is over, and a day, after which its trace session is a left-over."""
        deadline = time.monotonic() + patience
        while self._busy() and time.monotonic() < deadline:
            time.sleep(0.05)
        base = self.unix(r"C:\Program Files\OstravelInstaller")
        for log in base.glob("*.etl") if base.exists() else ():
            os.utime(log, (time.time() - 90000,) * 2)

    def lose(self, records):
        """What a power cut takes of the files that a run leaves: all that had not been flushed."""
        for record in records:
            if record["kind"] == "unflushed" and (place := self.unix(record["path"].removeprefix("\\\\?\\"))).is_file():
                place.write_bytes(b"")

    def _busy(self):
        mine = f"WINEPREFIX={self.prefix}".encode()
        for process in Path("/proc").iterdir():
            try:
                command = (process / "cmdline").read_bytes().lower()
                if (b"msiexec" in command or b"kelvanecleaner" in command) and mine in (process / "environ").read_bytes():
                    return True
            except OSError:
                continue
        return False

    @staticmethod
    def _copy(source, target):
        target.parent.mkdir(parents=True, exist_ok=True)
        subprocess.run(["cp", "-a", "-T", source, target], check=True)
