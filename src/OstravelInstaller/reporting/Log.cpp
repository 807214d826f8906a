#include "OstravelInstaller/reporting/Log.h"

#include "OstravelInstaller/reporting/LogFiles.h"
#include "ProductLib/InstallerEvents.h"
#include "libkelvane/UserLog.h"

namespace kelvane::bst {
namespace {

std::filesystem::path newLogFile(const std::filesystem::path& directory) {
    try {
        return createLogFile(directory);
    } catch (const std::exception&) {
        return {}; // the library log has the call that failed
    }
}

} // namespace

Log::Log(const BaseFolder& baseFolder) : path_(newLogFile(baseFolder.path())), session_(newSessionName()) {
    // Where nobody else makes names a logman that wants to make the file itself gets its way.
    const auto giveWay = [&] {
        if (baseFolder.usable()) removeEmptyLog(path_);
    };
    if (!path_.empty()) session_.start(path_.native(), giveWay);
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
    if (!path_.empty()) removeEmptyLog(path_);
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
