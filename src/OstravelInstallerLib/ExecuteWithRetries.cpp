#include "OstravelInstallerLib/ExecuteWithRetries.h"

#include "ProductLib/InstallerEvents.h"
#include "libwin32/Win32Error.h"

namespace kelvane::bst {
namespace {

constexpr std::uint32_t attempts = 5;
constexpr std::uint32_t sleepStepMs = 10'000;

} // namespace

std::uint32_t executeWithRetries(const std::wstring& commandLine, const std::function<std::uint32_t()>& run,
                                 const std::function<void(std::uint32_t)>& sleepMs) {
    for (std::uint32_t attempt = 1;; ++attempt) {
        logEvent(LogLevel::Verbose, "ExecuteWithRetries", {{"CommandStr", commandLine}, {"TryCount", attempt}});
        try {
            return run();
        } catch (const win32::Win32Error& error) {
            if (attempt == attempts) throw;
            logEvent(LogLevel::Error, "ExecuteWithRetriesFailed",
                     {{"CommandStr", commandLine},
                      {"TryCount", attempt},
                      {"SleepSeconds", attempt * sleepStepMs / 1000},
                      {"ErrorMsg", error.what()}});
        }
        sleepMs(attempt * sleepStepMs);
    }
}

std::uint32_t executeWithRetries(const std::wstring& commandLine, const std::function<std::uint32_t()>& run) {
    return executeWithRetries(commandLine, run, [](std::uint32_t milliseconds) { ::Sleep(milliseconds); });
}

} // namespace kelvane::bst
