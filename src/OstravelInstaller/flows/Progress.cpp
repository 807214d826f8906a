#include "OstravelInstaller/flows/Progress.h"

#include "OstravelInstaller/reporting/PhaseReport.h"
#include "OstravelInstallerLib/Console.h"

#include <utility>

namespace kelvane::bst {

void enterPhase(RunContext& context, InstallationPhaseType phase, std::wstring_view step) {
    context.telemetry.SetValue(TelemetryKey::installationStep, step);
    ReportPhase(context, phase, true);
}

LatePhaseReport::LatePhaseReport(RunContext& context, InstallationPhaseType phase, std::wstring_view step)
    : context_(context), phase_(phase) {
    context.telemetry.SetValue(TelemetryKey::installationStep, step);
    record_ = context.telemetry;
}

LatePhaseReport::~LatePhaseReport() {
    std::swap(context_.telemetry, record_);
    ReportPhase(context_, phase_, true);
    std::swap(context_.telemetry, record_);
}

void recordReinstallReason(RunContext& context, ReinstallReason reason) {
    context.reinstallReason = reason;
    context.telemetry.SetValue(TelemetryKey::statelessReason, reinstallReasonName(reason));
}

InstallerResult continueAfterReboot(RunContext& context, PostRebootAction action, InstallerResult otherwise) {
    context.telemetry.SetValue(TelemetryKey::rebootWasRequired, L"true");
    if (registerContinuation(context, action)) return InstallerResult::RebootRequired;
    noteUnprinted("The run after the reboot could not be scheduled.");
    return otherwise;
}

InstallerResult endWith(std::wstring_view line, InstallerResult result) {
    printLine(line);
    return result;
}

} // namespace kelvane::bst
