#include "OstravelInstaller/flows/CleaningStage.h"

#include "OstravelInstaller/cleaner/Cleaner.h"
#include "OstravelInstaller/context/Messages.h"
#include "OstravelInstaller/flows/MainFlow.h"
#include "OstravelInstaller/flows/Progress.h"
#include "OstravelInstallerLib/Console.h"
#include "OstravelInstallerLib/ProcessWait.h"
#include "ProductLib/InstallerEvents.h"
#include "SharedLib/NotSupportedException.h"
#include "SharedLib/SystemRequirements.h"
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

bool flagProperty(const RunContext& context, std::wstring_view name) {
    return context.cmdLine.getInstallerProperty(name) == L"true";
}

// Prints the first requirement that this machine does not meet.
bool requirementsMet(RunContext& context) {
    using namespace system_requirements;
    SystemRequirementsFlags flags;
    flags.skipMemory = flagProperty(context, L"SKIP_MEM_CHECK");
    flags.skipCatalogDatabase = flagProperty(context, L"SKIP_CRYPTSVC_CHECK");
    flags.skipTls = flagProperty(context, L"SKIP_TLS_CHECK");
    flags.skipInstalledAgentDisk = true;
    flags.upgradeOfInstalledAgent = false;
    try {
        checkSystemRequirements(agentDataFolder(context.cmdLine.getInstallerProperty(agentDataDirProperty)), flags,
                                [](const std::wstring& warning) {
                                    logEvent(LogLevel::Error, "CheckSystemRequirementsInfo", {{"Message", warning}});
                                });
        logEvent(LogLevel::Verbose, "CheckSystemRequirementsMet");
        return true;
    } catch (const NotSupportedException& error) {
        logEvent(LogLevel::Error, "SystemRequirementsNotMet", {{"ErrorMsg", error.what()}});
        context.telemetry.SetValueUtf8(TelemetryKey::errorString, error.what());
        printLine(std::wstring(messages::requirementsNotMet) + win32::toWide(error.what()));
        return false;
    } catch (const std::exception& error) {
        // What cannot be checked is not met: nothing has been changed yet.
        logEvent(LogLevel::Error, "CheckSystemRequirementsFailure", {{"ErrorMsg", error.what()}});
        context.telemetry.SetValueUtf8(TelemetryKey::errorString, error.what());
        printLine(std::wstring(messages::requirementsNotMet) + win32::toWide(error.what()));
        return false;
    }
}

CleanerOptions cleanerOptions(const RunContext& context, PostRebootAction stage) {
    const Options& options = context.cmdLine.options();
    CleanerOptions cleaner;
    cleaner.statelessUpgrade = options.stateless();
    cleaner.siteToken = options.fallback_site_token.given
                            ? std::optional(win32::toUtf8(options.fallback_site_token.value))
                            : context.installedSiteToken;
    cleaner.diagnostics = options.diagnostics.value;
    cleaner.lm = options.lm.value;
    cleaner.healthCheckMode = static_cast<std::uint32_t>(options.health_check_mode.value);
    cleaner.uninstallOnly = stage == PostRebootAction::CleanAndInstall && !options.clean_only.value;
    cleaner.diagUid = win32::toUtf8(context.diagUid);
    cleaner.verbosityLevel = static_cast<std::uint32_t>(options.diagnostics_verbosity_level.value);
    return cleaner;
}

InstallerResult endOfCleanOnly(std::uint32_t cleanerResult) {
    logEvent(LogLevel::Verbose, "CleanOnlyIsSet");
    switch (cleanerResult) {
    case 0:
        return endWith(messages::uninstalled, InstallerResult::Success);
    case 2:
    case 3:
        return endWith(messages::uninstallAfterReboot, InstallerResult::RemovalCompletesAfterReboot);
    default:
        return endWith(messages::uninstallFailed, InstallerResult::RemovalFailed);
    }
}

CleaningResult judge(RunContext& context, const CleanerRun& run) {
    logEvent(LogLevel::Verbose, "CheckCleanerReturnCode", {{"ReturnCode", run.exitCode}});
    context.telemetry.SetValue(TelemetryKey::cleaningResult, std::to_wstring(run.exitCode));
    const auto row = std::ranges::find(cleanerEndings, run.exitCode, &CleanerEnding::cleanerResult);
    if (row != cleanerEndings.end()) {
        context.telemetry.SetValue(TelemetryKey::installerResult, toTelemetryResult(row->result));
        return {endWith(row->line, row->result)};
    }
    // Overwritten at the end of the run: a record sent until then must not speak of success.
    context.telemetry.SetValue(TelemetryKey::installerResult, L"0");
    if (context.cmdLine->clean_only.value) return {endOfCleanOnly(run.exitCode)};
    return {std::nullopt, run.outcome == CleanerOutcome::RebootNeeded};
}

InstallerResult afterStuckMonitor(RunContext& context) {
    if (!context.cmdLine->clean_only.value) {
        logEvent(LogLevel::Error, "CleaningStageFailedWithStuckMonitorError");
        return handleStuckMonitor(context);
    }
    logEvent(LogLevel::Error, "CleanOnlyFailedWithStuckMonitorError");
    return endWith(messages::uninstallMonitorStuck, InstallerResult::MonitorStuck);
}

} // namespace

CleaningResult runCleaningStage(RunContext& context, PostRebootAction stage) {
    if (!context.cmdLine->clean_only.value && !requirementsMet(context)) return {InstallerResult::RequirementsNotMet};
    printLine(messages::attemptingUninstall);
    printLine(messages::uninstalling);
    context.telemetry.SetValue(TelemetryKey::installerActionType,
                               context.cmdLine->clean_only.value ? L"clean" : L"reinstall");
    enterPhase(context, InstallationPhaseType::Cleaning, L"cleaning");
    try {
        const CleanerRun run = runAndClassifyCleaner(context, cleanerOptions(context, stage));
        return judge(context, run);
    } catch (const StuckMonitorError&) {
        return {afterStuckMonitor(context)};
    } catch (const std::exception& error) {
        logEvent(LogLevel::Error, "CleaningStageFailedWithError", {{"ErrorMsg", error.what()}});
        return {endWith(messages::uninstallFailed, InstallerResult::RemovalFailed)};
    }
}

} // namespace kelvane::bst
