#include "OstravelInstaller/flows/Upgrade.h"

#include "OstravelInstaller/context/Messages.h"
#include "OstravelInstaller/flows/MainFlow.h"
#include "OstravelInstaller/flows/Progress.h"
#include "OstravelInstaller/package/MsiInstallation.h"
#include "OstravelInstallerLib/Console.h"
#include "ProductLib/InstallerEvents.h"

#include <algorithm>
#include <array>
#include <optional>

namespace kelvane::bst {
namespace {

struct FinalUpgradeResult {
    InstallerResult result;
    std::wstring_view line;
};

// Endings of the upgrade proper that end the run whatever else was asked for.
constexpr std::array finalUpgradeResults{
    FinalUpgradeResult{InstallerResult::DiskSpaceForUpgrade, messages::upgradeNoSpace},
    FinalUpgradeResult{InstallerResult::UserDeclined, messages::upgradeCancelled},
    FinalUpgradeResult{InstallerResult::MsiInProgress, messages::msiInProgress},
    FinalUpgradeResult{InstallerResult::MsiCommandLineInvalid, messages::msiCommandLineInvalid},
};

// The upgrade is not even tried.
InstallerResult fallBack(RunContext& context, ReinstallReason reason) {
    logEvent(LogLevel::Verbose, "SkippingReadyForUpgradeChecks", {{"Reason", reinstallReasonName(reason)}});
    recordReinstallReason(context, reason);
    return InstallerResult::FallBackToReinstall;
}

// What stops a run without --force.
std::optional<InstallerResult> stopWithoutForce(const RunContext& context, InstallerResult result) {
    if (result == InstallerResult::InstalledVersionUnknown) return endWith(messages::installedVersionUnknown, result);
    if (result == InstallerResult::SameOrNewerInstalled) return endWith(messages::sameOrNewerInstalled, result);
    if (!context.decided.downgradeDetected) return std::nullopt;
    logEvent(LogLevel::Error, "DowngradeFailed", {{"ReturnCode", code(result)}});
    return endWith(messages::upgradeDidNotSucceed,
                   result == InstallerResult::UpgradeFailed ? result : InstallerResult::DowngradeFailed);
}

InstallerResult afterFailedUpgrade(RunContext& context, InstallerResult result) {
    const Options& options = context.asked.cmdLine.options();
    if (result == InstallerResult::RequirementsNotMet) return result; // which has been printed
    const auto row = std::ranges::find(finalUpgradeResults, result, &FinalUpgradeResult::result);
    if (row != finalUpgradeResults.end()) return endWith(row->line, result);
    if (!options.force.value) {
        if (const auto stop = stopWithoutForce(context, result)) return *stop;
    }
    const bool packageFailed = context.decided.reinstallReason == ReinstallReason::InstallerExecutionFailed;
    // The old product is gone in part: cleaning and installing on top of that is not tried.
    if (packageFailed && context.reported.lastPackage && context.reported.lastPackage->removedExistingProducts) {
        return endWith(messages::upgradeFailedTerminating, InstallerResult::UpgradeFailedForGood);
    }
    if (options.dont_cleanstall.value) return InstallerResult::UpgradeFailedForGood;
    if (result == InstallerResult::MonitorStuck) {
        printLine(messages::upgradeDidNotSucceed);
        logEvent(LogLevel::Error, "RegularUpgradeFailedWithStuckMonitorError");
        return handleStuckMonitor(context);
    }
    if (packageFailed) printLine(messages::upgradeFailed);
    printLine(L"");
    return InstallerResult::FallBackToReinstall;
}

} // namespace

InstallerResult upgrade(RunContext& context) {
    const Options& options = context.asked.cmdLine.options();
    if (options.no_initial_installation.value) return fallBack(context, ReinstallReason::NoInitialInstallation);
    if (options.pmu.value) return fallBack(context, ReinstallReason::PreventMonitorUnload);
    logEvent(LogLevel::Verbose, "RunRegularUpgradeIfPossible");
    context.reported.telemetry.SetValue(TelemetryKey::installerActionType, L"upgrade");
    printLine(messages::runningUpgradeTests);
    const InstallerResult result = runUpgrade(context);
    if (result == InstallerResult::Success)
        return endWith(messages::upgradeCompleted, InstallerResult::UpgradeCompleted);
    return afterFailedUpgrade(context, result);
}

} // namespace kelvane::bst
