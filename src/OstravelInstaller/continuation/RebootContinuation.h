#pragma once

#include "OstravelInstaller/context/RunContext.h"
#include "OstravelInstaller/continuation/ContinuationCommandLine.h"

// The installer's run after the next boot. Of two kinds: the continuation that the product's documentation speaks of,
// which waits for a reboot, and the guard, which stands while a run has removed an agent and not yet installed the new
// one, so that a machine that goes down meanwhile gets its agent all the same.
namespace kelvane::bst {

// Asks, once in a run, what is scheduled.
void lookForContinuation(RunContext& context) noexcept;
// Whether what was found waits for a reboot, and can still be run: one whose copy is not what it was made (all of which
// is read) is logged and removed.
bool waitsForReboot(RunContext& context) noexcept;

// Schedules the continuation. False when the task service refuses: the copy is gone again then. A guard that stands
// becomes the continuation, and that does not fail, but in a run whose boot cannot be counted. Throws
// std::runtime_error when the program cannot be copied
// ("Failed to create copy of current OstravelInstaller.") or a value cannot be carried.
bool registerContinuation(RunContext& context, PostRebootAction action);

// Before an agent is removed: schedules what is to be done should this run be cut off. Fails as registerContinuation.
bool registerGuard(RunContext& context, PostRebootAction action);
// The agent is removed and the package is about to be run: should this run be cut off now, the next one only installs.
void guardPackage(RunContext& context) noexcept;

// In a run that the task has started too often to believe that it ever comes to its end: throws std::runtime_error.
void refuseEndlessBoots(const RunContext& context);
// Whether a run that could not do its work may leave it to the next boot.
bool mayTryAgain(const RunContext& context) noexcept;
// At the end of a run: removes what is not to wait for the next boot.
void settleContinuation(RunContext& context) noexcept;
// Removes what is scheduled, whoever left it.
void forgetContinuation(RunContext& context) noexcept;

} // namespace kelvane::bst
