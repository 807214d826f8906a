#pragma once

#include "OstravelInstaller/context/InstallerResult.h"

#include <cstdint>
#include <optional>

namespace kelvane::bst {

// What came of a run of the agent's installer.
struct PackageRun {
    InstallerResult result;
    std::uint32_t exitCode;   // as the installer gave it
    bool wantsReboot = false; // it succeeded, and some of it works only after a restart
    // What the package recorded of it: why it failed, and that it had begun to remove the old product.
    std::optional<std::uint32_t> failureReason{};
    bool removedExistingProducts = false;
};

} // namespace kelvane::bst
