#pragma once

#include "OstravelInstaller/context/RunContext.h"

namespace kelvane::bst {

// What happens to an installed agent: the conditions that every way on needs, the user's consent, then upgrade or clean
// and reinstall.
InstallerResult runMain(RunContext& context);

// The monitor driver hangs: schedules this program after a reboot, unless this run already follows one or only removes.
InstallerResult handleStuckMonitor(RunContext& context);

} // namespace kelvane::bst
