#pragma once

#include "OstravelInstaller/context/InstallerResult.h"
#include "OstravelInstallerLib/CommandLineUtils.h"

#include <optional>

namespace kelvane::bst {

enum class RequirementsOf { FreshInstallation, Upgrade };

// Whether this machine can take the new agent; nothing, or how the run ends. Logs why not.
// RequirementsNotMet has been printed; DiskSpaceForUpgrade, which only an upgrade gets, has not. A requirement that
// cannot be checked is not met: nothing has been changed yet.
std::optional<InstallerResult> checkRequirements(const OstravelInstallerCmdLine& cmdLine, RequirementsOf what);

} // namespace kelvane::bst
