"""The errors that calls are made to fail with."""

ACCESS_DENIED, OUT_OF_MEMORY, DISK_FULL, BROKEN_READ, SHARING, SERVER_GONE = 5, 8, 112, 23, 32, 1722
HRESULT = 0x80070000
# What each call really gives; by the beginning of its name, the first that fits.
ERRORS = (("NtCreateFile", 0xC0000022), ("NtQueryKey", 0xC0000034), ("RtlGetVersion", 0xC0000001), ("CreateFileW", SHARING),
          ("WriteFile", DISK_FULL), ("FlushFileBuffers", DISK_FULL), ("ReadFile", BROKEN_READ), ("_read", BROKEN_READ),
          ("CreateProcessW", OUT_OF_MEMORY), ("CreateNamedPipe", OUT_OF_MEMORY), ("CreateEvent", OUT_OF_MEMORY),
          ("Event", 8), ("QueryAllTraces", 8), ("Cred", 1168), ("WinHttp", 12029), ("Filter", HRESULT + 2),
          ("CoCreateInstance", HRESULT + SERVER_GONE), ("Co", HRESULT + 14), ("SHGet", HRESULT + 5),
          ("get_", HRESULT + SERVER_GONE), ("put_", HRESULT + SERVER_GONE), ("Msi", 1601), ("BCrypt", 0xC0000017),
          ("ISAS", 0), ("", ACCESS_DENIED))
# What else they give.
OTHER_ERRORS = (("NtCreateFile", 0xC0000043), ("NtQueryKey", 0xC000009A), ("RtlGetVersion", 0xC0000001), ("CreateFileW", 110),
                ("WriteFile", 1117), ("FlushFileBuffers", 1117), ("ReadFile", 1117), ("_read", 1117), ("CreateProcessW", 1260),
                ("CreateNamedPipe", 231), ("CreateDirectory", DISK_FULL), ("MoveFile", SHARING), ("DeleteFile", SHARING),
                ("SetFileInformation", SHARING), ("Event", 14), ("QueryAllTraces", 5), ("Cred", 1312), ("WinHttp", 12030),
                ("Filter", HRESULT + 5), ("CoCreateInstance", 0x80040154), ("Co", 0x80010106), ("SHGet", HRESULT + 2),
                ("get_", HRESULT + 14), ("put_", HRESULT + 87), ("Msi", 1619), ("BCrypt", 0xC0000225), ("Reg", 1018),
                ("ISAS", 0), ("", 1450))
TASK_METHODS = ("Connect", "NewTask", "GetFolder", "CreateFolder", "GetTask", "DeleteTask", "RegisterTaskDefinition", "Create",
                "SetSecurityDescriptor")


def error_of(call, other):
    if call in TASK_METHODS:
        return HRESULT + (ACCESS_DENIED if other else SERVER_GONE)
    return next(code for start, code in (OTHER_ERRORS if other else ERRORS) if call.startswith(start))
