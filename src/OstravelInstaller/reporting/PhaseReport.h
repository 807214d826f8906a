#pragma once

#include "OstravelInstaller/context/RunContext.h"

// What the management server is told of a run. Nothing of it ever changes the run's result: every failure is logged and
// swallowed.
namespace kelvane::bst {

// Records the phase and sends the record; with the log unless `metadataOnly`, and then without it when that fails three
// times.
void ReportPhase(RunContext& context, InstallationPhaseType phase, bool metadataOnly) noexcept;

// Posts the short status object, once.
void SendStatusToMgmt(const RunContext& context) noexcept;

} // namespace kelvane::bst
