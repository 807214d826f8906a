#include "OstravelInstaller/run/ReinstallReason.h"

#include <array>
#include <cstddef>

namespace kelvane::bst {

std::wstring_view reinstallReasonName(ReinstallReason reason) {
    static constexpr std::array<std::wstring_view, 10> names{
        L"NoInitialInstallation",       L"HealthCheck",          L"OldAgent", L"CouldNotDetermineInstalledVersion",
        L"InstallerExecutionFailed",    L"StuckMonitor",         L"PreventMonitorUnload",
        L"BaseAgentInstallerUntrusted", L"SameAgentAlreadyInstalled", L"NewerAgentAlreadyInstalled"};
    const auto index = static_cast<std::size_t>(reason);
    return index < names.size() ? names[index] : L"NoReason";
}

} // namespace kelvane::bst
