#pragma once

#include "OstravelInstaller/context/RunContext.h"
#include "OstravelInstaller/continuation/RebootContinuation.h"
#include "OstravelInstaller/package/InstallerFile.h"

namespace kelvane::bst {

// Removes the installed agent with the cleaner and installs the new one, in this run or across a reboot.
// `afterInitialInstallation`: a first installation has just been refused.
InstallerResult cleanAndReinstall(RunContext& context, PostRebootAction stage, bool afterInitialInstallation);

// Runs the package on a machine that has been cleaned.
InstallerResult installNewAgent(RunContext& context, const InstallerFile& installer);

} // namespace kelvane::bst
