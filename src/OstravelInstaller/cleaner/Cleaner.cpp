#include "OstravelInstaller/cleaner/Cleaner.h"

#include "OstravelInstaller/context/Messages.h"
#include "OstravelInstallerLib/ExecuteWithRetries.h"
#include "OstravelInstallerLib/ProcessWait.h"
#include "OstravelInstallerLib/ProgressLine.h"
#include "ProductLib/InstallerEvents.h"
#include "ProductLib/MonitorStatus.h"
#include "SharedLib/InstallationUtils.h"

#include <algorithm>
#include <stdexcept>

namespace kelvane::bst {
namespace {

void refuseStillActive(std::uint32_t exitCode, const char* message) {
    if (exitCode != STILL_ACTIVE) return;
    logEvent(LogLevel::Error, "CleanerStillRunning");
    throw std::runtime_error(message);
}

// With a window of ours the cleaner shares it: what is typed there to break off is not for the cleaner either.
DWORD creationFlags(bool hideWindow) { return hideWindow ? CREATE_NO_WINDOW : CREATE_NEW_PROCESS_GROUP; }

std::uint32_t takeDiagnostics(const std::filesystem::path& cleaner, const DiagnosticsOptions& options) {
    const auto commandLine = diagnosticsCommandLine(cleaner, options);
    logEvent(LogLevel::Verbose, "RunCleanerForDiagnosticOnly", {{"commandStr", commandLine}});
    const StartOptions start{.program = cleaner, .creationFlags = creationFlags(options.hideWindow)};
    const ElapsedTime progress(messages::waitingForCleaner);
    const auto exitCode = executeWithRetries(commandLine, [&] { return execute_throw(commandLine, start, INFINITE); });
    refuseStillActive(exitCode, "cleaner (diagnostic only) is still running");
    logEvent(LogLevel::Verbose, "DiagnosticOnlyRetval", {{"RetVal", exitCode}});
    return exitCode;
}

// Whether the package's own version is among those left on the machine: its folder must go before it can be installed.
bool isPackageVersionLeft(const PayloadPackage& payload) {
    const AgentVersion version = payload.version();
    const auto left = leftoverAgentVersions();
    if (left.empty()) logEvent(LogLevel::Verbose, "NoLeftoverAgentVersions");
    return std::ranges::find(left, version) != left.end();
}

} // namespace

std::uint32_t runCleaner(const std::filesystem::path& cleaner, const CleanerOptions& options) {
    const auto commandLine = cleaningCommandLine(cleaner, options);
    logEvent(LogLevel::Verbose, "RunCleaner", {{"commandStr", commandLine}});
    const ProcessWait wait = options.checkStuckMonitor
                                 ? stuckMonitorWait({&isMonitorServiceRunning, &isMonitorPortDown})
                                 : ProcessWait(waitForProcess);
    const StartOptions start{.program = cleaner, .creationFlags = creationFlags(options.hideWindow)};
    const ElapsedTime progress(messages::waitingForCleaner);
    const auto exitCode = executeWithRetries(commandLine, [&] { return executeProcess(commandLine, wait, start); });
    refuseStillActive(exitCode, "cleaner is still running");
    logEvent(LogLevel::Verbose, "CleanerRetval", {{"RetVal", exitCode}});
    return exitCode;
}

CleanerRun runAndClassifyCleaner(const PayloadPackage& payload, const CleanerOptions& options) {
    return classifyCleaner(runCleaner(payload.cleaner(), options), options.uninstallOnly,
                           [&] { return isPackageVersionLeft(payload); });
}

InstallerResult runDiagnosticOnlyUsingCleaner(const std::filesystem::path& contentDirectory,
                                              const DiagnosticsOptions& options) noexcept {
    try {
        const auto exitCode = takeDiagnostics(contentDirectory / L"KelvaneCleaner.exe", options);
        return exitCode == 0 ? InstallerResult::Success : InstallerResult::DiagnosticsFailed;
    } catch (const std::exception& error) {
        // The run is told no more than that it failed.
        logEvent(LogLevel::Error, "DiagnosticOnlyFailed", {{"ErrorMsg", error.what()}});
        return InstallerResult::DiagnosticsFailed;
    }
}

} // namespace kelvane::bst
