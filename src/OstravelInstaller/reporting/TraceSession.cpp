#include "OstravelInstaller/reporting/TraceSession.h"

#include "OstravelInstaller/reporting/Logman.h"
#include "libkelvane/Guid.h"
#include "libwin32/CommandLine.h"
#include "libwin32/Text.h"
#include "libwin32/TraceSessions.h"

#include <windows.h>

#include <algorithm>

namespace kelvane::bst {
namespace {

constexpr std::wstring_view namePrefix = L"OstravelInstallerLogEtwSession_";
constexpr std::wstring_view createFormat = L"logman create trace %s -o %s -max 200 -ets";
constexpr std::wstring_view enableFormats[] = {
    L"logman update trace %s -p {1D886617-AA23-4A85-8B9C-80574C5B67E7} -ets",
    L"logman update trace %s -p {0B694327-369B-4B22-94EA-D1B82E68CE53} -ets",
    L"logman update trace %s -p {F0DDEC44-F423-4CC3-ADD7-89C36719E40A} -ets",
    L"logman update trace %s -p {1B30854F-A52D-4808-A919-BF52C14DC264} -ets",
};
constexpr std::wstring_view flushPeriodFormat = L"logman update %s -ft %s -ets";
constexpr std::wstring_view stopFormat = L"logman stop %s -fd -ets";
constexpr std::wstring_view plainStopFormat = L"logman stop %s -ets";

// One turn of a flush timer of one second, and a little.
constexpr DWORD flushWaitMs = 1100;

} // namespace

std::wstring newSessionName() { return std::wstring(namePrefix) + newGuid(); }

bool isSessionName(std::wstring_view name) {
    constexpr std::size_t guidLength = 36;
    return name.starts_with(namePrefix) && name.size() == namePrefix.size() + guidLength &&
           name.find_first_not_of(L"0123456789ABCDEF-", namePrefix.size()) == std::wstring_view::npos;
}

void stopSession(const std::wstring& name) {
    // Not every logman takes a flush together with a stop.
    const auto code = runLogman(win32::formatText(stopFormat, name));
    if (code != 0U && code != STILL_ACTIVE) runLogman(win32::formatText(plainStopFormat, name));
}

void TraceSession::start(const std::wstring& outputPath, const std::function<void()>& beforeRetry) {
    const std::wstring create = win32::formatText(createFormat, name_, win32::quoteIfNeeded(outputPath));
    created_ = runLogman(create);
    if (created_ && *created_ != 0 && *created_ != STILL_ACTIVE) {
        // A session of that name exists.
        stopSession(name_);
        beforeRetry();
        created_ = runLogman(create);
    }
    for (const auto format : enableFormats)
        runLogman(win32::formatText(format, name_));
}

bool TraceSession::flush() {
    const bool shortened = setFlushPeriod(L"1");
    if (shortened) Sleep(flushWaitMs);
    const bool restored = setFlushPeriod(L"24:00:00");
    return shortened && restored;
}

// A create command that hung, or whose end is not known, may have made the session, and one that reports an error too.
bool TraceSession::mayExist() const {
    if (!created_ || *created_ == 0 || *created_ == STILL_ACTIVE) return true;
    return std::ranges::any_of(win32::runningTraces(), [&](const auto& trace) { return trace.name == name_; });
}

void TraceSession::stop() {
    if (mayExist()) stopSession(name_);
    created_ = 1;
}

bool TraceSession::setFlushPeriod(std::wstring_view period) {
    return runLogman(win32::formatText(flushPeriodFormat, name_, period)) == 0U;
}

} // namespace kelvane::bst
