#pragma once

#include <optional>
#include <string_view>

namespace kelvane::bst {

// Why a clean-and-reinstall ran; the number is the value.
enum class ReinstallReason {
    NoInitialInstallation = 0,
    HealthCheck = 1,
    OldAgent = 2,
    CouldNotDetermineInstalledVersion = 3,
    InstallerExecutionFailed = 4,
    StuckMonitor = 5,
    PreventMonitorUnload = 6,
    BaseAgentInstallerUntrusted = 7,
    SameAgentAlreadyInstalled = 8,
    NewerAgentAlreadyInstalled = 9,
    NoReason = 100,
};

// The reason's name, as handed to the package and the continuation, and recorded in telemetry.
std::wstring_view reinstallReasonName(ReinstallReason reason);
// Nothing for a text that names none.
std::optional<ReinstallReason> reinstallReasonOfName(std::wstring_view name);

} // namespace kelvane::bst
