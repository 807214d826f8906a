#include "OstravelInstaller/flows/Progress.h"

#include "OstravelInstallerLib/Console.h"

namespace kelvane::bst {

ReportSource reportSource(const RunContext& context) {
    return {context.found, context.decided.msiArguments, context.carried};
}

void enterPhase(RunContext& context, InstallationPhaseType phase, std::wstring_view step) {
    context.reported.telemetry.SetValue(TelemetryKey::installationStep, step);
    ReportPhase(context.reported.telemetry, reportSource(context), phase, true);
}

LatePhaseReport::LatePhaseReport(RunContext& context, InstallationPhaseType phase, std::wstring_view step)
    : context_(context), phase_(phase) {
    context.reported.telemetry.SetValue(TelemetryKey::installationStep, step);
    record_ = context.reported.telemetry;
}

LatePhaseReport::~LatePhaseReport() { ReportPhase(record_, reportSource(context_), phase_, true); }

void recordReinstallReason(RunContext& context, ReinstallReason reason) {
    context.decided.reinstallReason = reason;
    context.reported.telemetry.SetValue(TelemetryKey::statelessReason, reinstallReasonName(reason));
}

InstallerResult continueAfterReboot(RunContext& context, PostRebootAction action, InstallerResult otherwise) {
    context.reported.telemetry.SetValue(TelemetryKey::rebootWasRequired, L"true");
    if (registerContinuation(context, action)) return InstallerResult::RebootRequired;
    noteUnprinted("The run after the reboot could not be scheduled.");
    return otherwise;
}

InstallerResult endWith(std::wstring_view line, InstallerResult result) {
    printLine(line);
    return result;
}

} // namespace kelvane::bst
