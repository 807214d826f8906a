#pragma once

#include "OstravelInstaller/context/RunContext.h"

namespace kelvane::bst {

// Chooses what this run does, and does it. Throws; the run driver turns exceptions into results.
InstallerResult dispatch(RunContext& context);

// Whether the run must stop because a run of this program is already scheduled after a reboot; says so on the screen.
bool checkPendingReboot(RunContext& context);

} // namespace kelvane::bst
