#pragma once

#include "OstravelInstaller/context/InstallerResult.h"

namespace kelvane::bst {

// One whole run: opens the log, takes the instance lock, runs, releases everything.
// Throws std::runtime_error only when the log provider cannot be registered.
InstallerResult runOstravelInstaller();

} // namespace kelvane::bst
