#include "OstravelInstallerLib/Uninterrupted.h"

#include "OstravelInstallerLib/Console.h"
#include "ProductLib/InstallerEvents.h"
#include "libkelvane/UserLog.h"
#include "libwin32/Win32Error.h"

#include <windows.h>

#include <array>

namespace kelvane::bst {
namespace {

constexpr const wchar_t* windowClass = L"OstravelInstallerSessionEnd";
constexpr const wchar_t* blockReason = L"Running Kelvane Installer";

// For the window's thread, to begin and to end: nothing depends on it.
constexpr DWORD longestMs = 5000;

constexpr std::array controlNames{"Ctrl+C", "Ctrl+Break", "Close", "", "", "LogOff", "ShutDown"};

void logRefused(const char* what) { logEvent(LogLevel::Error, "InterruptionRefused", {{"Interruption", what}}); }

// The system ends the process after a close, a log-off or a shut-down, but not before this returns or some seconds have
// passed: they are for what is being done.
BOOL WINAPI onControl(DWORD type) {
    logRefused(type < controlNames.size() ? controlNames[type] : "");
    if (type >= CTRL_CLOSE_EVENT) Sleep(INFINITE);
    return TRUE;
}

LRESULT CALLBACK onMessage(HWND window, UINT message, WPARAM wide, LPARAM narrow) {
    if (message != WM_QUERYENDSESSION) return DefWindowProcW(window, message, wide, narrow);
    logRefused("SessionEnd");
    return FALSE;
}

HWND createWindow() {
    WNDCLASSW description{};
    description.lpfnWndProc = &onMessage;
    description.hInstance = GetModuleHandleW(nullptr);
    description.lpszClassName = windowClass;
    RegisterClassW(&description);
    return CreateWindowExW(0, windowClass, windowClass, WS_OVERLAPPED, 0, 0, 0, 0, nullptr, nullptr,
                           description.hInstance, nullptr);
}

} // namespace

SessionEndGuard::SessionEndGuard() {
    auto share = std::make_unique<std::shared_ptr<Shared>>(shared_);
    thread_.reset(CreateThread(nullptr, 0, &run, share.get(), 0, &threadId_));
    win32::check(static_cast<bool>(thread_), "CreateThread");
    [[maybe_unused]] const auto* const theThreads = share.release();
    const HANDLE either[] = {shared_->ready.handle(), thread_.get()};
    WaitForMultipleObjects(2, either, FALSE, longestMs);
}

SessionEndGuard::~SessionEndGuard() {
    shared_->over = true;
    PostThreadMessageW(threadId_, WM_QUIT, 0, 0);
    WaitForSingleObject(thread_.get(), longestMs);
}

DWORD WINAPI SessionEndGuard::run(void* shared) {
    const std::unique_ptr<std::shared_ptr<Shared>> own(static_cast<std::shared_ptr<Shared>*>(shared));
    const HWND window = createWindow();
    MSG message{};
    // Makes the queue that the end is posted to, window or not.
    PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE);
    SetEvent((*own)->ready.handle());
    if (window) ShutdownBlockReasonCreate(window, blockReason);
    // An end that came before there was a queue is not in it.
    while (!(*own)->over && GetMessageW(&message, nullptr, 0, 0) > 0)
        DispatchMessageW(&message);
    if (window) DestroyWindow(window);
    UnregisterClassW(windowClass, GetModuleHandleW(nullptr));
    return 0;
}

Uninterrupted::Uninterrupted() noexcept {
    SetConsoleCtrlHandler(&onControl, TRUE);
    setConsoleClosable(false);
    SetThreadExecutionState(ES_CONTINUOUS | ES_SYSTEM_REQUIRED);
    try {
        sessionEnd_.emplace();
    } catch (const std::exception& error) {
        userLog(LogLevel::Error, error.what());
    }
}

Uninterrupted::~Uninterrupted() {
    SetThreadExecutionState(ES_CONTINUOUS);
    setConsoleClosable(true);
    SetConsoleCtrlHandler(&onControl, FALSE);
}

} // namespace kelvane::bst
