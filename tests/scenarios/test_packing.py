"""What release engineers do: pack, sign, verify; and the signed installer at work."""

import hashlib
import json
import struct
import subprocess

import payload
import pytest
from agents import *
from harness import BUILD, INSTALLER
from test_continuation import INSTALLING, TASK, after_reboot

FOLDER = r"C:\Rélease"
PAYLOAD, PACKER, UNPACKED, OUT = (rf"{FOLDER}\{name}" for name in ("päyload", "OstravelPack.exe", "OstravelInstaller.exe", "out.exe"))
PACKAGE, CLEANER, DRIVER = (payload.PARTS[name] for name in ("KelvaneInstaller.msi", "KelvaneCleaner.exe", "KelvaneObliterator.sys"))
NO_PE = "that cannot be used: it is no 64-bit PE file"
CUT = "that cannot be used: it is cut short"
NO_VERSION = "holds a VERSION that cannot be used: it is not four dotted numbers alone (each at most 65535, no line end, no byte order mark)"
UPGRADE_CODE = "{95B9AB60-3BED-4C47-AFC0-E5876A75512A}"
NO_INSTALLER = "lacks an installer: KelvaneInstaller.msi or KelvaneInstaller.exe"
NO_DRIVER = "lacks the removal driver, a file NAME.sys (in ASCII, no blanks)"
FOREIGN = "holds %s, which does not belong there"
UNREADABLE = "holds a KelvaneInstaller.msi that cannot be used: it is no package that Windows Installer can read (error "


@pytest.fixture
def packer(endpoint):
    endpoint.put(PACKER, BUILD / "OstravelPack.exe")
    endpoint.put(UNPACKED, BUILD / "unpacked" / "OstravelInstaller.exe")
    for name, content in payload.PARTS.items():
        endpoint.put(rf"{PAYLOAD}\{name}", content)

    def run(*arguments):
        """What it ends with, and the lines that it prints."""
        result = endpoint.wine(PACKER, *arguments)
        print(result.stdout)
        return result.returncode, result.stdout.splitlines()

    return run


def other_upgrade_code(tmp_path):
    place = tmp_path / "other.msi"
    place.write_bytes(PACKAGE)
    change = "UPDATE `Property` SET `Value` = '{0}' WHERE `Property` = 'UpgradeCode'"
    subprocess.run(["msibuild", place, "-q", change], check=True)
    return place.read_bytes()


def test_payloads_that_are_refused(endpoint, packer, tmp_path):
    """Nothing is written, and everything that is wrong is said."""
    for changes, *said in [
            ({"VERSION": None}, "lacks VERSION"),
            ({"VERSION": VERSION + "\n"}, NO_VERSION), ({"VERSION": "\ufeff" + VERSION}, NO_VERSION), ({"VERSION": "23.3.3"}, NO_VERSION),
            ({"VERSION": "23.3.3.265"}, f'holds a KelvaneInstaller.msi that cannot be used: its ProductVersion is "{VERSION}", '
                                        "VERSION says 23.3.3.265"),
            ({"KelvaneInstaller.msi": None}, NO_INSTALLER), ({"KelvaneInstaller.msi": b"no package"}, UNREADABLE),
            ({"KelvaneInstaller.msi": other_upgrade_code(tmp_path)},
             f'holds a KelvaneInstaller.msi that cannot be used: its UpgradeCode is "{{0}}", the agent\'s is {UPGRADE_CODE}'),
            ({"KelvaneInstaller.exe": "#!/bin/sh"}, "holds a KelvaneInstaller.exe that cannot be used: it is no program"),
            ({"KelvaneCleaner.exe": CLEANER[:-1]}, f"holds a KelvaneCleaner.exe {CUT}"),
            ({"KelvaneCleaner.exe": CLEANER.replace(b"PE\0\0\x64\x86", b"PE\0\0\x4c\1")}, f"holds a KelvaneCleaner.exe {NO_PE}"),
            ({"KelvaneCleaner.exe": None, "KelvaneObliterator.sys": ""}, "lacks KelvaneCleaner.exe",
             f"holds a KelvaneObliterator.sys {NO_PE}"),
            ({"KelvaneObliterator.sys": None}, NO_DRIVER), ({"other.sys": DRIVER}, "holds more than one driver"),
            ({"notes.txt": "", r"config\KelvaneCleaner.exe": ""}, FOREIGN % "config", FOREIGN % "notes.txt")]:
        for name, content in changes.items():
            if content is None:
                endpoint.unix(rf"{PAYLOAD}\{name}").unlink()
            else:
                endpoint.put(rf"{PAYLOAD}\{name}", content)
        code, lines = packer("--payload", PAYLOAD, "--out", OUT)
        assert code == 1 and lines[-1] == "error: nothing was packed" and not endpoint.unix(OUT).exists()
        for line, text in zip(lines[:-1], said, strict=True):
            assert line.startswith(f"error: the payload folder {PAYLOAD} {text}")
        for name in changes:
            place = endpoint.unix(PAYLOAD) / name.split("\\")[0]
            subprocess.run(["rm", "-rf", place], check=True)
            if name in payload.PARTS:
                endpoint.put(rf"{PAYLOAD}\{name}", payload.PARTS[name])
    elsewhere, nothing = rf"{FOLDER}\none\out.exe", "nothing was packed"
    for folder, out, *said in [
            (PAYLOAD + "2", OUT, f"the payload folder {PAYLOAD}2 does not exist", nothing),
            (PACKER, OUT, f"the payload folder {PACKER} is no folder", nothing),
            (PAYLOAD + "\\", rf"{PAYLOAD}\out.exe", "--out lies in the payload folder"),
            (PAYLOAD, UNPACKED.upper(), "--out names the installer that is to be packed"),
            (PAYLOAD, elsewhere, f"{elsewhere} cannot be written: Path not found.")]:
        assert packer("--payload", folder, "--out", out) == (1, [f"error: {line}" for line in said])
    assert packer("--verify", OUT) == (1, [f"error: {OUT} cannot be read: File not found."])
    for arguments in [], ["--payload", PAYLOAD], ["--out"], ["--verify", OUT, "--version", "1.2.3.4"], ["--payload", PAYLOAD, "--out",
                      OUT, "--version", "1.2.3"], ["--help", "me"]:
        assert packer(*arguments)[0] == 2


def swapped(image, start):
    """Two unequal neighbouring words exchanged, which the checksum in the headers does not notice."""
    at = next(at for at in range(start + start % 2, len(image), 2) if image[at:at + 2] != image[at + 2:at + 4])
    return image[:at] + image[at + 2:at + 4] + image[at:at + 2] + image[at + 4:]


def signed(place, tmp_path):
    """As docs/release.md has it, with a certificate that is thrown away."""
    key, certificate, out = (tmp_path / name for name in ("key.pem", "certificate.pem", "signed.exe"))
    subprocess.run(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2", "-subj", "/CN=Throw Away", "-addext",
                    "extendedKeyUsage=codeSigning", "-keyout", key, "-out", certificate], check=True, capture_output=True)
    subprocess.run(["osslsigncode", "sign", "-certs", certificate, "-key", key, "-h", "sha256", "-n", "Ostravel Agent Installer", "-in",
                    place, "-out", out], check=True, capture_output=True)
    return out, certificate


def test_pack_sign_verify_run(endpoint, packer, tmp_path):
    code, lines = packer("--payload", PAYLOAD, "--out", OUT, "--verify", OUT)
    packed = endpoint.unix(OUT).read_bytes()
    assert code == 0 and packed == (BUILD / "OstravelInstaller.exe").read_bytes()
    listed = [f"payload: agent {VERSION}", *(f"  {hashlib.sha256(content).hexdigest()}  {len(content):>11} bytes  {name}"
                                             for name, content in payload.PARTS.items())]
    whole = [f"{OUT}: version {VERSION}, {len(packed)} bytes", f"SHA-256: {hashlib.sha256(packed).hexdigest()}"]
    assert [line.split(", ")[0] for line in lines[:5]] == listed == lines[7:12] and lines[4].endswith(", stored")
    assert lines[5:7] == whole == lines[12:14] and lines[14:] == ["signature: none"]

    assert packer("--payload", PAYLOAD, "--out", OUT + "2", "--installer", OUT, "--version", "9.8.7.65432")[0] == 0
    versioned = endpoint.unix(OUT + "2").read_bytes()
    assert payload.carried(versioned) == payload.carried(packed) and struct.pack("<HHHH", 8, 9, 65432, 7) * 2 in versioned
    for text, more in ("9.8.7.65432\0", 2), (f"{VERSION}\0", -2):
        assert versioned.count(text.encode("utf-16-le")) - packed.count(text.encode("utf-16-le")) == more

    certified, certificate = signed(endpoint.unix(OUT), tmp_path)
    signature = ["osslsigncode", "verify", "-CAfile", certificate, "-in"]
    subprocess.run([*signature, certified], check=True)
    code, lines = packer("--verify", endpoint.windows(endpoint.put(INSTALLER, certified)))
    assert code == 0 and lines[-1].startswith("signature: Throw Away, ")  # Wine trusts whoever has signed
    for verdict, ends in ("0x800B0109", 3), ("0x80096010", 1):  # a root that is not trusted; a digest of something else
        assert endpoint.run("--verify", INSTALLER, exe=PACKER, script={"trust": verdict}).code == ends
    code, lines = packer("--payload", PAYLOAD, "--out", OUT, "--installer", INSTALLER)
    assert code == 1 and "it is signed, and packing would break that" in lines[-1]
    content = certified.read_bytes()
    archive = content.index(payload.carried(packed))
    for damaged, why in [(content[:-8] + b"x" + content[-7:], "the checksum"), (content[:5000], "it is cut short"),
                         (swapped(content, archive + 200), "its payload is not whole"), (b"no program", "it is no 64-bit PE file"),
                         (swapped(content, 0x2000), "its signature is broken"),
                         ((BUILD / "unpacked" / "OstravelInstaller.exe").read_bytes(), "it has no payload")]:
        code, lines = packer("--verify", endpoint.windows(endpoint.put(rf"{FOLDER}\damaged.exe", damaged)))
        assert code == 1 and f"is not as it was packed: {why}" in lines[-1]

    assert endpoint.run("-q", "-t", SITE_KEY, time_scale=1000).code == 0 and endpoint.products == {"Kelvane Agent": VERSION}
    endpoint.put(rf"{config()}\UserConfig.json", json.dumps(SERVER))
    check(endpoint, ["-q"], 103, REBOOT_FIRST, "exit=2")
    copy = endpoint.unix(endpoint.tasks[TASK]["Path"])
    assert copy.read_bytes() == content and subprocess.run([*signature, copy], check=True)
    after_reboot(endpoint, 0, INSTALLING)
    assert endpoint.products == {"Kelvane Agent": VERSION} and not endpoint.tasks
