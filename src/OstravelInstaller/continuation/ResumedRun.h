#pragma once

#include "OstravelInstaller/continuation/ContinuationState.h"

#include <filesystem>
#include <optional>

namespace kelvane::bst {

// A run that the task has started from a continuation's copy, and what the run before it left.
struct ResumedRun {
    std::filesystem::path folder;
    ContinuationState state;
};

// Whether this run is one. The boot is counted on the disk before this returns, and what is scheduled is from now on
// the guard of this run. One that cannot be counted is the last that may fail.
std::optional<ResumedRun> resumeContinuation(const BaseFolder& baseFolder) noexcept;

// Removes what would only fail in the same way at the next boot.
void giveUp(const ResumedRun& resumed) noexcept;

// Tells the run what it is.
void continueFrom(RunContext& context, const ResumedRun& resumed);

} // namespace kelvane::bst
