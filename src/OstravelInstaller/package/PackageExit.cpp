#include "OstravelInstaller/package/PackageExit.h"

#include <windows.h>

namespace kelvane::bst {
namespace {

struct PackageExit {
    std::uint32_t exitCode;
    InstallerResult result;
};
constexpr PackageExit packageExits[] = {
    {ERROR_SUCCESS, InstallerResult::Success},
    {ERROR_SUCCESS_REBOOT_INITIATED, InstallerResult::Success},
    {ERROR_SUCCESS_REBOOT_REQUIRED, InstallerResult::Success},
    {ERROR_INSTALL_USEREXIT, InstallerResult::UserDeclined},
    {ERROR_INSTALL_ALREADY_RUNNING, InstallerResult::MsiInProgress},
    {ERROR_INVALID_COMMAND_LINE, InstallerResult::MsiCommandLineInvalid},
};

} // namespace

InstallerResult packageResult(std::uint32_t exitCode, std::optional<std::uint32_t> failureReason) {
    for (const PackageExit& known : packageExits) {
        if (known.exitCode == exitCode) return known.result;
    }
    return failureReason == MsiFailureReason::upgradeFailed ? InstallerResult::UpgradeFailed
                                                            : InstallerResult::InstallationFailed;
}

bool packageWantsReboot(std::uint32_t exitCode) {
    return exitCode == ERROR_SUCCESS_REBOOT_INITIATED || exitCode == ERROR_SUCCESS_REBOOT_REQUIRED;
}

InstallerResult setupProgramResult(std::uint32_t exitCode) {
    return exitCode == 0 ? InstallerResult::Success : InstallerResult::InstallationFailed;
}

} // namespace kelvane::bst
