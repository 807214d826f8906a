#pragma once

#include "OstravelInstaller/context/RunContext.h"
#include "OstravelInstaller/continuation/RebootContinuation.h"
#include "OstravelInstaller/reporting/PhaseReport.h"

#include <string_view>

// What every flow does on its way: telling how far it is, why it goes where it goes, and that it goes on after a
// reboot.
namespace kelvane::bst {

// What this run's reports are made of, as long as it lasts.
ReportSource reportSource(const RunContext& context);

// The run enters a phase: recorded, and reported with the telemetry record alone.
void enterPhase(RunContext& context, InstallationPhaseType phase, std::wstring_view step);

// As enterPhase, but the report of the record as it is now waits for the end of this object: while a machine has no
// agent nobody waits for a server.
class LatePhaseReport {
public:
    LatePhaseReport(RunContext& context, InstallationPhaseType phase, std::wstring_view step);
    ~LatePhaseReport();
    LatePhaseReport(const LatePhaseReport&) = delete;
    LatePhaseReport& operator=(const LatePhaseReport&) = delete;

private:
    const RunContext& context_;
    InstallationPhaseType phase_;
    TelemetryMetaData record_;
};

// Remembers why this run goes to clean and reinstall, for the package, the continuation and the telemetry record.
void recordReinstallReason(RunContext& context, ReinstallReason reason);

// Schedules this program to go on after a reboot: RebootRequired, or `otherwise` when it cannot be scheduled.
// Throws std::runtime_error when the program cannot be copied.
InstallerResult continueAfterReboot(RunContext& context, PostRebootAction action, InstallerResult otherwise);

// How most ways of a flow end: one line for the person at the machine, and the result.
InstallerResult endWith(std::wstring_view line, InstallerResult result);

} // namespace kelvane::bst
