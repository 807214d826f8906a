#pragma once

#include "OstravelInstaller/context/RunContext.h"
#include "OstravelInstaller/package/InstallerFile.h"

namespace kelvane::bst {

// What an agent that is to be removed needs of its successor: the installer can be read and is held, and its whole
// command line can be carried. Adds the last property to the run's package arguments. Throws as InstallerFile and
// packageCommandLine: nothing has been changed then.
InstallerFile prepareInstaller(RunContext& context);

} // namespace kelvane::bst
