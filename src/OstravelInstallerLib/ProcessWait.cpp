#include "OstravelInstallerLib/ProcessWait.h"

#include "ProductLib/InstallerEvents.h"
#include "libwin32/Win32Error.h"

#include <utility>

namespace kelvane::bst {
namespace {

// True when the process has ended, false at the time limit.
bool endsWithin(HANDLE process, DWORD timeoutMs) {
    const DWORD result = WaitForSingleObject(process, timeoutMs);
    if (result == WAIT_OBJECT_0) return true;
    if (result == WAIT_TIMEOUT) return false;
    const DWORD error = GetLastError();
    logEvent(LogLevel::Error, "WaitOnProcessFailed", {{"Result", result}, {"ErrorCode", error}});
    win32::throwWin32("WaitForSingleObject", error);
}

[[noreturn]] void throwStuckMonitor() {
    const StuckMonitorError error;
    logEvent(LogLevel::Error, "StuckMonitorError", {{"ErrorMsg", error.what()}});
    throw error;
}

} // namespace

std::uint32_t executeProcess(const std::wstring& commandLine, const ProcessWait& wait, const StartOptions& options) {
    const ProcessHandles child = executeAndGetHandles(commandLine, options);
    wait(child.process.get());
    DWORD exitCode = 0;
    if (!GetExitCodeProcess(child.process.get(), &exitCode)) {
        const DWORD error = GetLastError();
        logEvent(LogLevel::Error, "RetrieveExitCodeFromProcessFailed", {{"ErrorCode", error}});
        win32::throwWin32("GetExitCodeProcess", error);
    }
    logEvent(LogLevel::Verbose, "ExecuteProcessProcessFinished", {{"RetCode", exitCode}});
    return exitCode;
}

void waitForProcess(HANDLE process) { endsWithin(process, INFINITE); }

ProcessWait stuckMonitorWait(MonitorChecks checks, std::uint32_t markMs) {
    return [checks = std::move(checks), markMs](HANDLE process) {
        const auto monitorHung = [&] { return checks.serviceHung() && checks.portHung(); };
        while (!endsWithin(process, markMs)) {
            if (!monitorHung()) continue;
            if (endsWithin(process, markMs)) return;
            if (monitorHung()) throwStuckMonitor();
        }
    };
}

} // namespace kelvane::bst
