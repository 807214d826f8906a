#pragma once

#include "OstravelInstaller/context/InstallerResult.h"

#include <cstdint>
#include <optional>

// What an exit code of the agent's installer means.
namespace kelvane::bst {

// What the package writes into MsiFailureReason.
namespace MsiFailureReason {
inline constexpr std::uint32_t upgradeFailed = 1;
inline constexpr std::uint32_t multipleRelatedProducts = 2;
inline constexpr std::uint32_t requirementsNotMet = 3;
inline constexpr std::uint32_t refused = 4;
} // namespace MsiFailureReason

// Of a Windows Installer package; `failureReason` is the MsiFailureReason that this run of it recorded.
InstallerResult packageResult(std::uint32_t exitCode, std::optional<std::uint32_t> failureReason);
// Whether a package succeeded and leaves a reboot to be done (1641, 3010).
bool packageWantsReboot(std::uint32_t exitCode);
// Of a setup program.
InstallerResult setupProgramResult(std::uint32_t exitCode);

} // namespace kelvane::bst
