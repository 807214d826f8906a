"""The text form of registry values (.reg files)."""

import re

HEADING = "Windows Registry Editor Version 5.00\r\n\r\n"
ROOTS = {"HKLM": "HKEY_LOCAL_MACHINE", "HKCU": "HKEY_CURRENT_USER", "HKCR": "HKEY_CLASSES_ROOT", "HKU": "HKEY_USERS"}


def full_name(key):
    root, _, rest = key.partition("\\")
    return f"{ROOTS.get(root, root)}\\{rest}"


def section(key, values):
    return f"[{full_name(key)}]\n" + "".join(f'"{name}"={encode(value)}\n' for name, value in values.items())


def encode(value):
    """str: REG_SZ; int: REG_DWORD; bytes: REG_BINARY; (type, bytes): those bytes as that type; None: no such value."""
    if value is None:
        return "-"
    if isinstance(value, str):
        return '"' + value.replace("\\", "\\\\").replace('"', '\\"') + '"'
    if isinstance(value, int):
        return f"dword:{value:08x}"
    kind, data = value if isinstance(value, tuple) else (3, value)
    return f"hex({kind:x}):" + ",".join(f"{byte:02x}" for byte in data)


def decode(text):
    if text.startswith('"'):
        return re.sub(r"\\(.)", r"\1", text[1:-1])
    if text.startswith("dword:"):
        return int(text[6:], 16)
    kind, _, digits = text.partition(":")
    data = bytes.fromhex(digits.replace(",", ""))
    if kind in ("hex(2)", "hex(7)"):
        parts = data.decode("utf-16-le", "replace").split("\0")
        return parts[0] if kind == "hex(2)" else [part for part in parts if part]
    return data


def keys(text):
    """Every section of an export: full key name → its values."""
    joined = re.sub(r"\\\r?\n\s*", "", text)
    found = {}
    for part in re.split(r"(?m)^\[", joined)[1:]:
        name, _, body = part.partition("]")
        found[name] = {key: decode(value.strip()) for key, value in
                       re.findall(r'(?ms)^"((?:[^"\\]|\\.)*)"=("(?:[^"\\]|\\.)*"|[^"\n]*)', body)}
    return found


def parse(text, key):
    wanted = full_name(key).lower()
    return next((values for name, values in keys(text).items() if name.lower() == wanted), None)
