#pragma once

#include "OstravelInstaller/context/RunContext.h"

namespace kelvane::bst {

// Installs the agent on a machine that has none. A refusal of the package for a reason that it recorded has a result of
// its own: unmet system requirements (reason 3), refused by the package (reason 4).
InstallerResult runInitialInstallation(RunContext& context);

} // namespace kelvane::bst
