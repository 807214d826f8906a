#include "OstravelInstaller/flows/InitialInstallation.h"

#include "OstravelInstaller/context/Messages.h"
#include "OstravelInstaller/flows/PackageStep.h"
#include "OstravelInstaller/flows/Progress.h"
#include "OstravelInstaller/package/MsiInstallation.h"
#include "OstravelInstaller/package/PackageExit.h"
#include "OstravelInstallerLib/Console.h"
#include "ProductLib/InstallerEvents.h"
#include "libkelvane/Guid.h"

namespace kelvane::bst {
namespace {

struct RefusalReason {
    std::uint32_t reason;
    InstallerResult result;
};

// Failure reasons of the package that have a result of their own.
constexpr RefusalReason refusalReasons[] = {
    {MsiFailureReason::requirementsNotMet, InstallerResult::RequirementsNotMet},
    {MsiFailureReason::refused, InstallerResult::PackageRefused},
};

InstallerResult explainFailure(const std::optional<PackageRun>& package, InstallerResult result) {
    for (const RefusalReason& row : refusalReasons) {
        if (package && package->failureReason == row.reason) return row.result;
    }
    return result;
}

} // namespace

InstallerResult runInitialInstallation(RunContext& context) {
    if (!context.found.siteToken && context.asked.cmdLine->quiet()) {
        logEvent(LogLevel::Error, "MissingSiteToken");
        noteUnprinted("Site token is missing.");
        return InstallerResult::SiteTokenMissing;
    }
    printLine(messages::runningInstaller);
    context.reported.telemetry.SetValue(TelemetryKey::installerActionType, L"install");
    context.reported.telemetry.SetValue(TelemetryKey::installationId, newGuid());
    enterPhase(context, InstallationPhaseType::Installation, L"initialInstallation");
    const InstallerResult result =
        runInstallationStep(context, {.installer = installerPath(context.asked, context.carried.payload),
                                      .resultKey = TelemetryKey::installationResult});
    return isSuccess(result) ? result : explainFailure(context.reported.lastPackage, result);
}

} // namespace kelvane::bst
