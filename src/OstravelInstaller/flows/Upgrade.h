#pragma once

#include "OstravelInstaller/context/RunContext.h"

namespace kelvane::bst {

// Replaces the installed agent in place: UpgradeCompleted, FallBackToReinstall, or a final result.
InstallerResult upgrade(RunContext& context);

// The upgrade proper: tests the installed agent, then runs the package. Success, or why not; a reason that speaks for
// clean and reinstall is recorded in the context.
InstallerResult runUpgrade(RunContext& context);

} // namespace kelvane::bst
