#include "OstravelInstaller/flows/Progress.h"

#include "OstravelInstaller/context/FindAgent.h"
#include "OstravelInstaller/context/Messages.h"
#include "OstravelInstaller/reporting/Enrolment.h"
#include "OstravelInstaller/reporting/PhaseReport.h"
#include "OstravelInstallerLib/Console.h"

namespace kelvane::bst {

void enterPhase(RunContext& context, InstallationPhaseType phase, std::wstring_view step) {
    context.telemetry.SetValue(TelemetryKey::installationStep, step);
    ReportPhase(context, phase, true);
}

void recordReinstallReason(RunContext& context, ReinstallReason reason) {
    context.reinstallReason = reason;
    context.telemetry.SetValue(TelemetryKey::statelessReason, reinstallReasonName(reason));
}

InstallerResult continueAfterReboot(RunContext& context, PostRebootAction action, InstallerResult otherwise) {
    context.telemetry.SetValue(TelemetryKey::rebootWasRequired, L"true");
    return registerContinuation(context, action) ? InstallerResult::RebootRequired : otherwise;
}

void learnEnrolment(RunContext& context) {
    if (findManagementSite(context).server.empty()) findAgent(context);
}

InstallerResult endWith(std::wstring_view line, InstallerResult result) {
    printLine(line);
    return result;
}

void printPackageRefusal(InstallerResult result) {
    if (result == InstallerResult::MsiInProgress) printLine(messages::msiInProgress);
    if (result == InstallerResult::MsiCommandLineInvalid) printLine(messages::msiCommandLineInvalid);
}

} // namespace kelvane::bst
