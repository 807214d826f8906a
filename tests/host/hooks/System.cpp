// Facts about the machine and things done to it: message boxes, child processes, shutdown, safe mode, memory, disks,
// cipher suites, signatures.
#include "hooks/Hooks.h"

#include <softpub.h>
#include <wintrust.h>

#include <bcrypt.h>

namespace host {
namespace {

constexpr const wchar_t* strongSuites =
    L"TLS_ECDHE_ECDSA_WITH_AES_256_GCM_SHA384,TLS_ECDHE_RSA_WITH_AES_256_GCM_SHA384,"
    L"TLS_ECDHE_RSA_WITH_AES_128_GCM_SHA256,TLS_RSA_WITH_AES_128_GCM_SHA256";

bool isVisible() { return scripted(L"desktop", L"yes") == L"yes"; }

// answer=TEXT:Yes answers the boxes whose question contains TEXT; a box that nobody scripted is answered No.
int WINAPI messageBox(HWND owner, LPCWSTR text, LPCWSTR caption, UINT type) {
    if (!isVisible()) Record("hang").add("call", L"MessageBoxW");
    int button = IDNO;
    for (const auto& answer : scripted(L"answer")) {
        const auto colon = answer.rfind(L':');
        if (std::wstring_view(text).find(answer.substr(0, colon)) == std::wstring_view::npos) continue;
        button = answer.substr(colon + 1) == L"Yes" ? IDYES : IDNO;
        break;
    }
    Record("box")
        .add("text", text)
        .add("caption", caption)
        .add("type", type)
        .add("owned", owner != nullptr)
        .add("answer", button);
    return button;
}

// interrupt=TEXT: when a command line with TEXT in it is started somebody tries to break off.
BOOL WINAPI createProcess(LPCWSTR application, LPWSTR command, LPSECURITY_ATTRIBUTES process,
                          LPSECURITY_ATTRIBUTES thread, BOOL inherit, DWORD flags, LPVOID environment, LPCWSTR folder,
                          LPSTARTUPINFOW startup, LPPROCESS_INFORMATION child) {
    Record("process").add("application", application).add("command", command).add("flags", flags).add("folder", folder);
    const std::wstring_view text(command);
    if (text.find(L"msiexec") != text.npos && text.find(L"/qn") == text.npos && !isVisible()) {
        Record("hang").add("call", command);
    }
    if (text.find(scripted(L"interrupt", L"\n")) != text.npos) interruptProgram();
    return CreateProcessW(application, command, process, thread, inherit, flags, environment, folder, startup, child);
}

BOOL WINAPI shutdown(LPWSTR machine, LPWSTR message, DWORD timeout, BOOL force, BOOL reboot, DWORD reason) {
    Record("reboot")
        .add("machine", machine)
        .add("message", message)
        .add("timeout", timeout)
        .add("force", force)
        .add("reboot", reboot)
        .add("reason", reason);
    return TRUE;
}

// cleanboot=1 or 2: safe mode.
int WINAPI systemMetrics(int index) {
    return index == SM_CLEANBOOT ? static_cast<int>(number(scripted(L"cleanboot", L"0"))) : GetSystemMetrics(index);
}

// memory=BYTES: total physical memory.
BOOL WINAPI memoryStatus(LPMEMORYSTATUSEX status) {
    const BOOL done = GlobalMemoryStatusEx(status);
    if (!scripted(L"memory").empty()) status->ullTotalPhys = static_cast<DWORDLONG>(number(scripted(L"memory", L"")));
    return done;
}

// free.C=BYTES: what is free on a drive.
BOOL WINAPI diskFreeSpace(LPCWSTR path, PULARGE_INTEGER available, PULARGE_INTEGER total, PULARGE_INTEGER all) {
    const BOOL done = GetDiskFreeSpaceExW(path, available, total, all);
    const std::wstring bytes = scripted(std::wstring(L"free.") + static_cast<wchar_t>(towupper(*path)), L"");
    if (done && !bytes.empty()) available->QuadPart = static_cast<ULONGLONG>(number(bytes));
    return done;
}

// suites=A,B: the Schannel cipher suites, in one block as the system returns them.
NTSTATUS WINAPI enumSuites(ULONG, LPCWSTR, ULONG, ULONG* size, PCRYPT_CONTEXT_FUNCTIONS* functions) {
    auto names = split(scripted(L"suites", strongSuites), L',');
    if (names.front().empty()) names.clear();
    std::size_t bytes = sizeof(CRYPT_CONTEXT_FUNCTIONS) + names.size() * sizeof(PWSTR);
    for (const auto& name : names)
        bytes += (name.size() + 1) * sizeof(wchar_t);
    auto* block = static_cast<CRYPT_CONTEXT_FUNCTIONS*>(LocalAlloc(LPTR, bytes));
    block->cFunctions = static_cast<ULONG>(names.size());
    block->rgpszFunctions = reinterpret_cast<PWSTR*>(block + 1);
    auto* text = reinterpret_cast<wchar_t*>(block->rgpszFunctions + names.size());
    for (std::size_t i = 0; i < names.size(); ++i) {
        block->rgpszFunctions[i] = text;
        text = std::copy(names[i].begin(), names[i].end(), text) + 1;
    }
    *size = static_cast<ULONG>(bytes);
    *functions = block;
    return 0;
}

void WINAPI freeSuites(PVOID block) { LocalFree(block); }

BOOL WINAPI isStrongHash(const void*, LPCWSTR, const void*) { return TRUE; }

// trust=CODE: the verdict on every signature.
LONG WINAPI verifyTrust(HWND window, GUID* action, LPVOID data) {
    const std::wstring verdict = scripted(L"trust", L"");
    return verdict.empty() ? REAL(WinVerifyTrust)(window, action, data) : static_cast<LONG>(number(verdict));
}

const Registration hooks{REPLACE(MessageBoxW, messageBox),
                         REPLACE(CreateProcessW, createProcess),
                         REPLACE(InitiateSystemShutdownExW, shutdown),
                         REPLACE(GetSystemMetrics, systemMetrics),
                         REPLACE(GlobalMemoryStatusEx, memoryStatus),
                         REPLACE(GetDiskFreeSpaceExW, diskFreeSpace),
                         REPLACE(BCryptEnumContextFunctions, enumSuites),
                         REPLACE(BCryptFreeBuffer, freeSuites),
                         PROVIDE(CertIsStrongHashToSign, isStrongHash),
                         REPLACE(WinVerifyTrust, verifyTrust)};

} // namespace

} // namespace host
