#pragma once

#include "OstravelInstaller/continuation/ContinuationState.h"

#include <filesystem>
#include <optional>

namespace kelvane::bst {

// A run that the task has started from a continuation's copy, and what the run before it left.
struct ResumedRun {
    std::filesystem::path folder;
    ContinuationState state;
    bool complete = true; // false: the state was damaged; it holds this run's own arguments and no more
};

// Whether this run is one. The boot is counted on the disk before this returns, and what is scheduled is from now on
// the guard of this run.
std::optional<ResumedRun> resumeContinuation(const BaseFolder& baseFolder) noexcept;

// Tells the run what it is.
void continueFrom(RunContext& context, const ResumedRun& resumed);

} // namespace kelvane::bst
