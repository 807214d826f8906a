#pragma once

#include "OstravelInstaller/context/RunContext.h"
#include "OstravelInstaller/continuation/ContinuationCommandLine.h"

// The installer's run after the next reboot: the task "Ostravel\OstravelInstaller", which starts a copy of the
// installer at boot.
namespace kelvane::bst {

// Copies the installer, saves the telemetry record and registers the task. False when the task could not be registered:
// the copy is gone again then. Throws as copySelf.
bool registerContinuation(const RunContext& context, PostRebootAction action);

// Whether the task is there. A failure is logged and counts as no.
bool isContinuationScheduled() noexcept;

// Deletes the task if it is there. A failure is logged.
void deleteContinuationTask() noexcept;

} // namespace kelvane::bst
