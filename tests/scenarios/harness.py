"""Endpoints: Wine prefixes in which the shipped installer runs, unchanged, with the test host in it.

    run = endpoint.run("-q", "-t", TOKEN, script={"answer": "reboot now:Yes", "fail": ["CopyFileW:1:112"]})
    assert run.code == 0 and "InstallFailed" not in run.event_names

The keys of `script` are those of tests/host/hooks/*.cpp (each file names its own); a list gives a key several times.
"""

import fcntl
import json
import os
import re
import shutil
import subprocess
import tempfile
import uuid
from pathlib import Path

import registry
from runs import PATIENCE, Started, text_of

TOP = Path(__file__).resolve().parent.parent.parent
BUILD = TOP / "build"
HOST = BUILD / "tests" / "host"
INSTALLER = r"C:\Setup\OstravelInstaller.exe"
MSIEXEC = r"C:\windows\system32\msiexec.exe"
STAND_IN = HOST / "stand_in.exe"
CATALOG = r"C:\windows\system32\catroot2\{F750E6C3-38EE-11D1-85E5-00C04FC295EE}"
UNINSTALL = r"HKLM\SOFTWARE\Microsoft\Windows\CurrentVersion\Uninstall"
TASKS = r"C:\test-host\tasks"
SYSTEM_VARIABLES = {"WINDIR": r"C:\windows", "OS": "Windows_NT", "QUOTED": 'a "b'}
SESSIONS = r"C:\test-host\sessions"  # of event tracing: name of the session → name of its file


def wine_environment(prefix):
    """Without a display; without the debugger and the add-ons that Wine would offer to install; an msiexec.exe that a
    test put into system32 is taken."""
    return {**os.environ, "WINEPREFIX": str(prefix), "WINEDEBUG": "-all",
            "WINEDLLOVERRIDES": "mscoree,mshtml,winedbg.exe=;msiexec.exe=n,b"}


def template():
    """A fresh prefix that endpoints are copied from, made once per Wine version."""
    folder, mark = BUILD / "endpoint-template", subprocess.check_output(["wine", "--version"], text=True)
    with open(BUILD / "endpoint-template.lock", "w") as lock:
        fcntl.flock(lock, fcntl.LOCK_EX)
        if not folder.exists() or (folder / "made-by").read_text() != mark:
            made = folder.with_suffix(".new")
            shutil.rmtree(made, ignore_errors=True)
            shutil.rmtree(folder, ignore_errors=True)
            for command in ["wineboot", "-i"], ["wineserver", "-w"]:
                subprocess.run(command, env=wine_environment(made), capture_output=True, check=True)
            (made / "made-by").write_text(mark)
            made.rename(folder)
    return folder


class Endpoint:
    """One machine: a copy of the template with the installer in C:\\Setup, running until close()."""

    def __init__(self, installer=BUILD / "OstravelInstaller.exe"):
        self.prefix = BUILD / "endpoints" / uuid.uuid4().hex
        self.prefix.parent.mkdir(exist_ok=True)
        self.started = []
        source = template()
        subprocess.run(["cp", "-al", source, self.prefix], check=True)
        # Wine writes these in place, which would change the template.
        for hive in "system.reg", "user.reg", "userdef.reg":
            self.put(self.prefix / hive, source / hive)
        self.put(CATALOG + r"\catdb", b"")
        self.put(r"C:\windows\system32\logman.exe", HOST / "logman.exe")
        self.put(INSTALLER, installer)
        for folder in TASKS, SESSIONS:
            self.unix(folder).mkdir(parents=True)
        self.boot()

    def boot(self):
        """Services stop with the last ordinary process: a command interpreter that waits keeps them."""
        self.keeper = subprocess.Popen(["wine", "cmd", "/q"], env=wine_environment(self.prefix), stdin=subprocess.PIPE,
                                       stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        self.keeper.stdin.write("echo started\n")
        self.keeper.stdin.flush()
        while (line := self.keeper.stdout.readline()) != "started\n":
            assert line, "Wine does not start"

    def stop(self):
        subprocess.run(["wineserver", "-k"], env=wine_environment(self.prefix), check=False)
        subprocess.run(["wineserver", "-w"], env=wine_environment(self.prefix), check=False)
        self.keeper.communicate()

    def reboot(self):
        self.stop()
        for session in self.unix(SESSIONS).iterdir():
            session.unlink()
        self.boot()

    def close(self):
        self.stop()
        shutil.rmtree(self.prefix)

    # Running

    def run(self, *arguments, background=False, **options):
        """Runs the installer to its end; with background, returns a Started."""
        started = self.start(*arguments, **options)
        return started if background else started.wait()

    def start(self, *arguments, script=None, time_scale=20, exe=INSTALLER, command_line=None, typed=None, env=None):
        """In C:\\Setup. `command_line` is the whole of it, taken as it is; else it is made of the exe and the arguments."""
        folder = self.unix(rf"C:\test-host\runs\{len(self.started) + 1}")
        folder.mkdir(parents=True)
        command_line = command_line or subprocess.list2cmdline([exe, *arguments])
        (folder / "command.txt").write_text(f"{exe}\n{command_line}")
        lines = [f"time_scale={time_scale}"]
        for key, value in (script or {}).items():
            lines += [f"{key}={one}" for one in (value if isinstance(value, list) else [value])]
        (folder / "script.txt").write_text("\n".join(lines))
        if typed is not None:
            (folder / "stdin.txt").write_text(typed)
        environment = {**wine_environment(self.prefix), **(env or {}), "OSTRAVEL_TEST_RUN": self.windows(folder)}
        with open(folder / "printed.txt", "wb") as printed, open(folder / "errors.txt", "wb") as errors:
            process = subprocess.Popen(["wine", HOST / "launcher.exe"], env=environment, stdin=subprocess.DEVNULL,
                                       stdout=printed, stderr=errors, cwd=self.unix(r"C:\Setup"))
        self.started.append(Started(self, folder, process))
        return self.started[-1]

    def run_task(self, task, **options):
        """Starts a registered task's program as the task scheduler would, which replaces variables in its arguments."""
        arguments = re.sub("%(.*?)%", lambda found: SYSTEM_VARIABLES.get(found[1].upper(), found[0]), task["Arguments"])
        arguments = re.sub(r"\$\(Arg\d+\)", "", arguments)
        return self.run(exe=task["Path"], command_line=f'"{task["Path"]}" {arguments}', **options)

    def install_agent(self, version, *properties):
        """Installs the sample package of a version that the build made, as an earlier rollout would have."""
        package = self.put(r"C:\Setup\agent.msi", BUILD / "packages" / f"{version}.msi")
        result = self.wine("msiexec", "/qn", "/i", self.windows(package), *properties)
        assert result.returncode == 0, result.stdout

    def wine(self, *command):
        """Runs a command to its end. Its output goes to a file: what it leaves running would hold a pipe open."""
        with tempfile.TemporaryFile("w+", errors="replace") as output:
            result = subprocess.run(["wine", *map(str, command)], env=wine_environment(self.prefix), stdout=output,
                                    stderr=subprocess.STDOUT, stdin=subprocess.DEVNULL, timeout=PATIENCE, check=False)
            output.seek(0)
            result.stdout = output.read()
        return result

    # Files

    def unix(self, path):
        """The file behind C:\\..., found without regard to case."""
        place = self.prefix / "dosdevices" / path[:2].lower()
        for name in filter(None, path[2:].split("\\")):
            exact = place / name
            if not os.path.lexists(exact) and place.is_dir():
                exact = next((entry for entry in place.iterdir() if entry.name.lower() == name.lower()), exact)
            place = exact
        return place

    def windows(self, path):
        """The name of a file on drive C inside Wine."""
        drive = self.prefix / "drive_c"
        relative = path.relative_to(drive if drive in path.parents else self.prefix / "dosdevices" / "c:")
        return "C:\\" + str(relative).replace("/", "\\")

    def put(self, path, content):
        """Writes text or bytes, or copies a file, never through a hard link into the template."""
        place = path if isinstance(path, Path) else self.unix(path)
        place.parent.mkdir(parents=True, exist_ok=True)
        place.unlink(missing_ok=True)
        if isinstance(content, Path):
            shutil.copyfile(content, place)
        else:
            place.write_bytes(content.encode() if isinstance(content, str) else content)
        return place

    def add_drive(self, letter):
        """A second volume, with nothing on it."""
        folder = self.prefix / f"drive_{letter.lower()}"
        folder.mkdir()
        (self.prefix / "dosdevices" / f"{letter.lower()}:").symlink_to(f"../{folder.name}")
        self.reboot()

    # Registry; keys are written HKLM\..., in the 64-bit view

    def reg_values(self, key):
        """All values of a key by name (str, int, list of str, bytes), or None when there is no such key."""
        text = self.reg_export(key)
        return registry.parse(text, key) if text else None

    def reg_export(self, key):
        """The key and those below as text of a .reg file, or None when there is no such key."""
        place = self.unix(r"C:\test-host\export.reg")
        place.unlink(missing_ok=True)
        self.wine("reg", "export", key, self.windows(place), "/y", "/reg:64")
        return place.read_text("utf-16") if place.exists() else None

    def reg_value(self, key, name):
        return (self.reg_values(key) or {}).get(name)

    def reg_import(self, text):
        """Text of a .reg file without its heading; see registry.py for values."""
        place = self.put(r"C:\test-host\import.reg", (registry.HEADING + text).encode("utf-16"))
        result = self.wine("reg", "import", self.windows(place), "/reg:64")
        assert result.returncode == 0, result.stdout

    def reg_set(self, key, **values):
        self.reg_import(registry.section(key, values))

    def reg_delete(self, key):
        self.reg_import(f"[-{registry.full_name(key)}]\n")

    # What is there now

    @property
    def tasks(self):
        """Registered tasks by their path, e.g. "Ostravel\\OstravelInstaller"."""
        root = self.unix(TASKS)
        return {str(place.relative_to(root).with_suffix("")).replace("/", "\\"): json.loads(place.read_text())
                for place in root.rglob("*.json")}

    @property
    def products(self):
        """Installed packages: name → version."""
        text = self.reg_export(UNINSTALL) or ""
        return {values["DisplayName"]: values.get("DisplayVersion") for values in registry.keys(text).values()
                if "DisplayName" in values}

    def story(self):
        """What happened, for the report of a failed test."""
        parts = []
        for started in self.started:
            for name in "command.txt", "script.txt", "exit.txt", "printed.txt", "errors.txt", "console.txt", "record.jsonl":
                parts.append(f"--- {name}\n{text_of(started.folder / name)}")
        return "\n".join(parts)
