// The console: its output is console.txt, its input stdin.txt of the run's folder (end of input where there is none).
#include "hooks/Hooks.h"

namespace host {
namespace {

const auto consoleWindow = reinterpret_cast<HWND>(0x10010);
bool open = false;

HANDLE openStream(bool input) {
    SECURITY_ATTRIBUTES inheritable{sizeof inheritable, nullptr, TRUE};
    const std::wstring scriptedInput = runFile(L"stdin.txt");
    const bool hasInput = GetFileAttributesW(scriptedInput.c_str()) != INVALID_FILE_ATTRIBUTES;
    const std::wstring path = !input ? runFile(L"console.txt") : hasInput ? scriptedInput : L"NUL";
    return CreateFileW(path.c_str(), input ? GENERIC_READ : FILE_APPEND_DATA,
                       FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, &inheritable,
                       input ? OPEN_EXISTING : OPEN_ALWAYS, 0, nullptr);
}

BOOL openConsole(const wchar_t* call) {
    Record("console").add("call", call);
    if (open) {
        SetLastError(ERROR_ACCESS_DENIED);
        return FALSE;
    }
    if (scripted(L"desktop", L"yes") != L"yes") Record("hang").add("call", call);
    open = true;
    SetStdHandle(STD_INPUT_HANDLE, openStream(true));
    SetStdHandle(STD_OUTPUT_HANDLE, openStream(false));
    SetStdHandle(STD_ERROR_HANDLE, openStream(false));
    return TRUE;
}

BOOL WINAPI allocConsole() { return openConsole(L"AllocConsole"); }

// parent_console=yes: started from a command prompt.
BOOL WINAPI attachConsole(DWORD) {
    if (scripted(L"parent_console", L"no") == L"yes") return openConsole(L"AttachConsole");
    SetLastError(ERROR_INVALID_HANDLE);
    return FALSE;
}

BOOL WINAPI freeConsole() {
    Record("console").add("call", L"FreeConsole");
    return std::exchange(open, false);
}

// stdout=none: started without standard output, as from the desktop.
HANDLE WINAPI standardHandle(DWORD id) {
    const bool absent = !open && id == STD_OUTPUT_HANDLE && scripted(L"stdout", L"") == L"none";
    return absent ? nullptr : GetStdHandle(id);
}

bool isConsoleOutput(HANDLE file) { return open && pathOf(file).ends_with(L"\\console.txt"); }

BOOL WINAPI consoleMode(HANDLE file, LPDWORD mode) {
    if (!isConsoleOutput(file)) return GetConsoleMode(file, mode);
    *mode = ENABLE_PROCESSED_OUTPUT | ENABLE_WRAP_AT_EOL_OUTPUT;
    return TRUE;
}

BOOL WINAPI writeConsole(HANDLE file, const void* text, DWORD length, LPDWORD written, void* reserved) {
    if (!isConsoleOutput(file)) return WriteConsoleW(file, text, length, written, reserved);
    const auto* wide = static_cast<const wchar_t*>(text);
    std::string bytes(length * 3ULL, '\0');
    const int size = WideCharToMultiByte(CP_UTF8, 0, wide, static_cast<int>(length), bytes.data(),
                                         static_cast<int>(bytes.size()), nullptr, nullptr);
    *written = length;
    DWORD done = 0;
    return WriteFile(file, bytes.data(), static_cast<DWORD>(size), &done, nullptr);
}

HWND WINAPI window() { return open ? consoleWindow : nullptr; }

BOOL WINAPI setTitle(LPCWSTR title) {
    Record("console").add("call", L"SetConsoleTitle").add("title", title);
    return open;
}

// desktop=no: the process runs where nobody sees a window.
BOOL WINAPI objectInformation(HANDLE object, int index, PVOID buffer, DWORD size, LPDWORD needed) {
    const BOOL done = GetUserObjectInformationW(object, index, buffer, size, needed);
    if (done && index == UOI_FLAGS) {
        const bool visible = scripted(L"desktop", L"yes") == L"yes";
        static_cast<USEROBJECTFLAGS*>(buffer)->dwFlags = visible ? WSF_VISIBLE : 0;
    }
    return done;
}

std::vector<PHANDLER_ROUTINE> handlers;

BOOL WINAPI setHandler(PHANDLER_ROUTINE handler, BOOL add) {
    Record("console").add("call", L"SetConsoleCtrlHandler").add("add", add);
    if (add) {
        handlers.push_back(handler);
    } else {
        std::erase(handlers, handler);
    }
    return TRUE;
}

BOOL WINAPI enableMenuItem(HMENU, UINT item, UINT how) {
    Record("console").add("call", L"EnableMenuItem").add("item", item).add("how", how);
    return TRUE;
}

HMENU WINAPI systemMenu(HWND, BOOL) { return reinterpret_cast<HMENU>(0x10012); }

EXECUTION_STATE WINAPI executionState(EXECUTION_STATE state) {
    Record("execution_state").add("state", state);
    return ES_CONTINUOUS;
}

const Registration hooks{
    REPLACE(SetConsoleCtrlHandler, setHandler), REPLACE(EnableMenuItem, enableMenuItem),
    REPLACE(GetSystemMenu, systemMenu),         REPLACE(SetThreadExecutionState, executionState),
    REPLACE(AllocConsole, allocConsole),        REPLACE(AttachConsole, attachConsole),
    REPLACE(FreeConsole, freeConsole),          REPLACE(GetConsoleWindow, window),
    REPLACE(SetConsoleTitleW, setTitle),        REPLACE(GetUserObjectInformationW, objectInformation),
    REPLACE(GetStdHandle, standardHandle),      REPLACE(GetConsoleMode, consoleMode),
    REPLACE(WriteConsoleW, writeConsole)};

} // namespace

void interruptProgram() {
    for (const DWORD event : {CTRL_C_EVENT, CTRL_BREAK_EVENT}) {
        const bool handled = std::ranges::any_of(handlers, [&](auto handler) { return handler(event); });
        if (!handled) ExitProcess(STATUS_CONTROL_C_EXIT);
    }
}

} // namespace host
