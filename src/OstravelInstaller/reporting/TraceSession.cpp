#include "OstravelInstaller/reporting/TraceSession.h"

#include "libwin32/CommandLine.h"
#include "libwin32/Text.h"

#include <windows.h>

#include <string_view>
#include <utility>

namespace kelvane::bst {
namespace {

constexpr std::wstring_view createFormat = L"logman create trace %s -o %s -max 200 -ets";
constexpr std::wstring_view enableFormats[] = {
    L"logman update trace %s -p {1D886617-AA23-4A85-8B9C-80574C5B67E7} -ets",
    L"logman update trace %s -p {0B694327-369B-4B22-94EA-D1B82E68CE53} -ets",
    L"logman update trace %s -p {F0DDEC44-F423-4CC3-ADD7-89C36719E40A} -ets",
    L"logman update trace %s -p {1B30854F-A52D-4808-A919-BF52C14DC264} -ets",
};
constexpr std::wstring_view flushPeriodFormat = L"logman update %s -ft %s -ets";
constexpr std::wstring_view stopFormat = L"logman stop %s -fd -ets";

// One turn of a flush timer of one second, and a little.
constexpr DWORD flushWaitMs = 1100;

} // namespace

TraceSession::TraceSession(std::wstring name, CommandRunner run) : name_(std::move(name)), run_(std::move(run)) {}

void TraceSession::start(const std::wstring& outputPath) {
    const std::wstring create = win32::formatText(createFormat, name_, win32::quoteIfNeeded(outputPath));
    auto exitCode = run_(create);
    if (exitCode && *exitCode != 0 && *exitCode != STILL_ACTIVE) {
        // A session of that name exists.
        run_(win32::formatText(stopFormat, name_));
        exitCode = run_(create);
    }
    // A create command that hung may have made the session all the same.
    created_ = exitCode == 0U || exitCode == STILL_ACTIVE;
    for (const auto format : enableFormats)
        run_(win32::formatText(format, name_));
}

bool TraceSession::flush() {
    const bool shortened = setFlushPeriod(L"1");
    if (shortened) Sleep(flushWaitMs);
    const bool restored = setFlushPeriod(L"24:00:00");
    return shortened && restored;
}

void TraceSession::stop() {
    if (!std::exchange(created_, false)) return;
    run_(win32::formatText(stopFormat, name_));
}

bool TraceSession::setFlushPeriod(std::wstring_view period) {
    return succeeds(win32::formatText(flushPeriodFormat, name_, period));
}

} // namespace kelvane::bst
