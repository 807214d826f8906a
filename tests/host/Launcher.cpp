// launcher.exe: runs one program of the endpoint with host.dll in it. The run's folder holds command.txt (line 1: the
// program; line 2: its whole command line) and gets pid.txt, exit.txt and the records "started" and "ended".
// env=NAME=VALUE: a variable of the environment that the program finds.
#include "Script.h"

#include <psapi.h>

#include <cstdio>

using namespace host;

namespace {

void writeNumber(const wchar_t* name, unsigned long value) {
    const HANDLE file =
        CreateFileW(runFile(name).c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_ALWAYS, 0, nullptr);
    const std::string text = std::to_string(value) + '\n';
    DWORD written = 0;
    WriteFile(file, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
    CloseHandle(file);
}

int fail(const char* what) {
    std::fprintf(stderr, "launcher: %s: error %lu\n", what, GetLastError());
    return 1;
}

std::wstring hostLibrary() {
    wchar_t path[MAX_PATH]{};
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    const std::wstring launcher(path);
    return launcher.substr(0, launcher.rfind(L'\\') + 1) + L"host.dll";
}

// LoadLibraryW lies at the same address in every process of an endpoint; its thread ends when all is patched.
bool inject(HANDLE process, const std::wstring& library) {
    const SIZE_T size = (library.size() + 1) * sizeof(wchar_t);
    void* remote = VirtualAllocEx(process, nullptr, size, MEM_COMMIT, PAGE_READWRITE);
    if (!remote || !WriteProcessMemory(process, remote, library.c_str(), size, nullptr)) return false;
    const auto load = reinterpret_cast<LPTHREAD_START_ROUTINE>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "LoadLibraryW")));
    const HANDLE thread = CreateRemoteThread(process, nullptr, 0, load, remote, 0, nullptr);
    DWORD loaded = 0;
    return thread && WaitForSingleObject(thread, INFINITE) == WAIT_OBJECT_0 && GetExitCodeThread(thread, &loaded) &&
           loaded;
}

// Most bytes in memory at once. They can be asked for only while the process runs.
SIZE_T peakUntilEnd(HANDLE process) {
    constexpr DWORD betweenLooks = 100;
    PROCESS_MEMORY_COUNTERS memory{};
    while (WaitForSingleObject(process, betweenLooks) == WAIT_TIMEOUT)
        GetProcessMemoryInfo(process, &memory, sizeof memory);
    return memory.PeakWorkingSetSize;
}

} // namespace

int wmain() {
    auto lines = split(readText(runFile(L"command.txt")), L'\n');
    if (lines.size() < 2) return fail("command.txt");
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES; // its own standard streams go on to the program
    startup.hStdInput = GetStdHandle(STD_INPUT_HANDLE);
    startup.hStdOutput = GetStdHandle(STD_OUTPUT_HANDLE);
    startup.hStdError = GetStdHandle(STD_ERROR_HANDLE);
    for (const auto& variable : scripted(L"env")) {
        const auto equals = variable.find(L'=');
        SetEnvironmentVariableW(variable.substr(0, equals).c_str(), variable.substr(equals + 1).c_str());
    }
    PROCESS_INFORMATION child{};
    Record("started");
    if (!CreateProcessW(lines[0].c_str(), lines[1].data(), nullptr, nullptr, TRUE, CREATE_SUSPENDED, nullptr, nullptr,
                        &startup, &child)) {
        return fail("CreateProcess");
    }
    if (!inject(child.hProcess, hostLibrary())) {
        TerminateProcess(child.hProcess, 1);
        return fail("injection");
    }
    writeNumber(L"pid.txt", child.dwProcessId);
    ResumeThread(child.hThread);
    const SIZE_T peak = peakUntilEnd(child.hProcess);
    Record("ended").add("peak_working_set", static_cast<long long>(peak));
    DWORD code = 0;
    if (!GetExitCodeProcess(child.hProcess, &code)) return fail("GetExitCodeProcess");
    writeNumber(L"exit.txt", code);
    return 0;
}
