#include "OstravelInstaller/flows/CleaningStage.h"

#include "OstravelInstaller/cleaner/Cleaner.h"
#include "OstravelInstaller/context/Messages.h"
#include "OstravelInstaller/flows/MainFlow.h"
#include "OstravelInstaller/flows/Progress.h"
#include "OstravelInstallerLib/Console.h"
#include "OstravelInstallerLib/ProcessWait.h"
#include "ProductLib/InstallerEvents.h"
#include "ProductLib/MonitorStatus.h"
#include "libwin32/Text.h"

#include <algorithm>
#include <array>

namespace kelvane::bst {
namespace {

struct CleanerEnding {
    std::uint32_t cleanerResult;
    std::wstring_view line;
    InstallerResult result;
};

// Cleaner results that end the run, with or without an installation to follow.
constexpr std::array cleanerEndings{
    CleanerEnding{1, messages::uninstallFailed, InstallerResult::RemovalFailed},
    CleanerEnding{4, messages::safeModeRequired, InstallerResult::SafeModeRequired},
    CleanerEnding{5, messages::healthyCleaned, InstallerResult::HealthyDirectoriesCleaned},
    CleanerEnding{6, messages::healthyCleanedAfterReboot, InstallerResult::HealthyDirectoriesCleanedAfterReboot},
    CleanerEnding{13, messages::uninstallFailed, InstallerResult::RemovalFailedCleaner13},
    CleanerEnding{14, messages::uninstallFailed, InstallerResult::RemovalFailedCleaner14},
};

CleanerOptions cleanerOptions(const Asked& asked, const Found& found, PostRebootAction stage) {
    const Options& options = asked.cmdLine.options();
    CleanerOptions cleaner;
    cleaner.hideWindow = options.quiet();
    cleaner.statelessUpgrade = options.stateless();
    cleaner.siteToken = options.fallback_site_token.given
                            ? std::optional(win32::toUtf8(options.fallback_site_token.value))
                            : found.siteToken;
    cleaner.diagnostics = options.diagnostics.value;
    cleaner.lm = options.lm.value;
    cleaner.healthCheckMode = static_cast<std::uint32_t>(options.health_check_mode.value);
    cleaner.uninstallOnly = stage == PostRebootAction::CleanAndInstall && !options.clean_only.value;
    cleaner.diagUid = win32::toUtf8(asked.diagUid);
    cleaner.verbosityLevel = static_cast<std::uint32_t>(options.diagnostics_verbosity_level.value);
    return cleaner;
}

// The monitor was found stuck by a cleaner that did not end, or by one that failed.
InstallerResult afterStuckMonitor(RunContext& context) {
    if (!context.asked.cmdLine->clean_only.value) {
        logEvent(LogLevel::Error, "CleaningStageFailedWithStuckMonitorError");
        return handleStuckMonitor(context);
    }
    logEvent(LogLevel::Error, "CleanOnlyFailedWithStuckMonitorError");
    return InstallerResult::MonitorStuck;
}

// A monitor that is stuck may be why; only a restart helps then.
InstallerResult uninstallationFailed(RunContext& context, InstallerResult result) {
    if (!isMonitorStuck()) return endWith(messages::uninstallFailed, result);
    printLine(messages::uninstallMonitorStuck);
    return afterStuckMonitor(context);
}

InstallerResult endOfCleanOnly(RunContext& context, std::uint32_t cleanerResult) {
    logEvent(LogLevel::Verbose, "CleanOnlyIsSet");
    switch (cleanerResult) {
    case 0:
        return endWith(messages::uninstalled, InstallerResult::Success);
    case 2:
    case 3:
        return endWith(messages::uninstallAfterReboot, InstallerResult::RemovalCompletesAfterReboot);
    default:
        return uninstallationFailed(context, InstallerResult::RemovalFailed);
    }
}

CleaningResult judge(RunContext& context, const CleanerRun& run) {
    logEvent(LogLevel::Verbose, "CheckCleanerReturnCode", {{"ReturnCode", run.exitCode}});
    context.reported.telemetry.SetValue(TelemetryKey::cleaningResult, std::to_wstring(run.exitCode));
    const auto row = std::ranges::find(cleanerEndings, run.exitCode, &CleanerEnding::cleanerResult);
    if (row != cleanerEndings.end()) {
        context.reported.telemetry.SetValue(TelemetryKey::installerResult, toTelemetryResult(row->result));
        const bool failed = row->line == messages::uninstallFailed;
        return {failed ? uninstallationFailed(context, row->result) : endWith(row->line, row->result)};
    }
    // Overwritten at the end of the run: a record sent until then must not speak of success.
    context.reported.telemetry.SetValue(TelemetryKey::installerResult, L"0");
    if (context.asked.cmdLine->clean_only.value) return {endOfCleanOnly(context, run.exitCode)};
    return {std::nullopt, run.outcome == CleanerOutcome::RebootNeeded};
}

CleaningResult cleanAndJudge(RunContext& context, PostRebootAction stage) {
    CleanerRun run;
    try {
        run = runAndClassifyCleaner(context.carried.payload, cleanerOptions(context.asked, context.found, stage));
    } catch (const StuckMonitorError&) {
        if (context.asked.cmdLine->clean_only.value) printLine(messages::uninstallMonitorStuck);
        return {afterStuckMonitor(context)};
    } catch (const std::exception& error) {
        logEvent(LogLevel::Error, "CleaningStageFailedWithError", {{"ErrorMsg", error.what()}});
        context.reported.brokenOff = true;
        return {uninstallationFailed(context, InstallerResult::RemovalFailed)};
    }
    return judge(context, run);
}

} // namespace

CleaningResult runCleaningStage(RunContext& context, PostRebootAction stage) {
    printLine(messages::attemptingUninstall);
    printLine(messages::uninstalling);
    enterPhase(context, InstallationPhaseType::Cleaning, L"cleaning");
    return cleanAndJudge(context, stage);
}

} // namespace kelvane::bst
