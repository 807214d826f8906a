#include "OstravelInstaller/reporting/Log.h"

#include "ProductLib/InstallerEvents.h"
#include "libkelvane/Guid.h"
#include "libkelvane/PathUtils.h"
#include "libkelvane/UserLog.h"
#include "libkelvane/Utilities.h"

#include <windows.h>

namespace kelvane::bst {
namespace {

constexpr std::uint64_t commandTimeoutMs = 300'000;

std::optional<std::uint32_t> runLogman(const std::wstring& commandLine) {
    try {
        return executeTimed(
            commandLine, {.program = PathUtils::systemDirectory() / L"logman.exe", .creationFlags = CREATE_NO_WINDOW},
            commandTimeoutMs);
    } catch (const std::exception&) {
        return std::nullopt; // the library log has the call that failed
    }
}

// The current local time, in the calendar and digits that do not depend on the user's settings.
std::wstring fileName() {
    SYSTEMTIME now{};
    GetLocalTime(&now);
    wchar_t date[16]{};
    wchar_t time[16]{};
    GetDateFormatW(LOCALE_INVARIANT, 0, &now, L"yyyy_MM_dd", date, 16);
    GetTimeFormatW(LOCALE_INVARIANT, 0, &now, L"HH_mm_ss", time, 16);
    return std::wstring(L"OstravelInstallerLog_") + date + L"_" + time + L".etl";
}

} // namespace

Log::Log(const std::filesystem::path& directory)
    : path_(directory / fileName()), session_(L"OstravelInstallerLogEtwSession_" + newGuid(), runLogman) {
    session_.start(path_.native());
    // A provider that cannot be registered stays off: the run goes on without its events.
    installerProvider().start();
}

Log::~Log() {
    installerProvider().stop();
    try {
        session_.stop();
    } catch (const std::exception&) {
        userLog(win32::TraceLevel::Error, "The trace session was not stopped.");
    }
}

bool Log::FlushLog() noexcept {
    try {
        if (session_.flush()) return true;
    } catch (const std::exception&) {
        userLog(win32::TraceLevel::Error, "The log was not flushed.");
    }
    logEvent(LogLevel::Error, "FlushLogFailed");
    return false;
}

} // namespace kelvane::bst
