#pragma once

#include "OstravelInstaller/context/RunContext.h"

namespace kelvane::bst {

// Removes the exit-code file of an earlier run, so that an outside tool does not take its result for this one's. The
// first step of a run whose command line is known, before anything of it can fail.
void forgetEarlierResult(const Options& options) noexcept;

// Chooses what this run does, and does it. Throws; the run driver turns exceptions into results.
InstallerResult dispatch(RunContext& context);

// Whether the run must stop because a run of this program is already scheduled after a reboot; says so on the screen.
bool checkPendingReboot(RunContext& context);

} // namespace kelvane::bst
