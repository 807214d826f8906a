#include "OstravelInstaller/flows/InitialInstallation.h"

#include "OstravelInstaller/context/Messages.h"
#include "OstravelInstaller/flows/Progress.h"
#include "OstravelInstaller/package/MsiInstallation.h"
#include "OstravelInstaller/package/PackageExit.h"
#include "OstravelInstallerLib/Console.h"
#include "ProductLib/InstallerEvents.h"
#include "libkelvane/Guid.h"
#include "libkelvane/UserLog.h"

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

InstallerResult explainFailure(InstallerResult result) {
    const auto reason = readMsiFailureReason();
    for (const RefusalReason& row : refusalReasons) {
        if (reason == row.reason) return row.result;
    }
    return result;
}

} // namespace

InstallerResult runInitialInstallation(RunContext& context) {
    if (!context.siteToken() && context.cmdLine->quiet()) {
        logEvent(LogLevel::Error, "MissingSiteToken");
        return InstallerResult::SiteTokenMissing;
    }
    printLine(messages::runningInstaller);
    context.telemetry.SetValue(TelemetryKey::installerActionType, L"install");
    context.telemetry.SetValue(TelemetryKey::installationId, newGuid());
    enterPhase(context, InstallationPhaseType::Installation, L"initialInstallation");
    const InstallerResult result = runInstallerPackage(context, installerPath(context), std::nullopt).result;
    context.telemetry.SetValue(TelemetryKey::installationResult, isSuccess(result) ? L"1" : L"2");
    printPackageRefusal(result);
    if (!isSuccess(result)) return explainFailure(result);

    userLog(LogLevel::Information, messages::installationCompleted);
    context.installationDone = true;
    learnEnrolment(context);
    return result;
}

} // namespace kelvane::bst
