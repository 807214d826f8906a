#include "OstravelInstaller/context/ReinstallReason.h"

#include <algorithm>
#include <array>

namespace kelvane::bst {
namespace {

struct ReasonName {
    ReinstallReason reason;
    std::wstring_view name;
};

constexpr std::array reasonNames{
    ReasonName{ReinstallReason::NoInitialInstallation, L"NoInitialInstallation"},
    ReasonName{ReinstallReason::HealthCheck, L"HealthCheck"},
    ReasonName{ReinstallReason::OldAgent, L"OldAgent"},
    ReasonName{ReinstallReason::CouldNotDetermineInstalledVersion, L"CouldNotDetermineInstalledVersion"},
    ReasonName{ReinstallReason::InstallerExecutionFailed, L"InstallerExecutionFailed"},
    ReasonName{ReinstallReason::StuckMonitor, L"StuckMonitor"},
    ReasonName{ReinstallReason::PreventMonitorUnload, L"PreventMonitorUnload"},
    ReasonName{ReinstallReason::BaseAgentInstallerUntrusted, L"BaseAgentInstallerUntrusted"},
    ReasonName{ReinstallReason::SameAgentAlreadyInstalled, L"SameAgentAlreadyInstalled"},
    ReasonName{ReinstallReason::NewerAgentAlreadyInstalled, L"NewerAgentAlreadyInstalled"},
    ReasonName{ReinstallReason::NoReason, L"NoReason"},
};

} // namespace

std::wstring_view reinstallReasonName(ReinstallReason reason) {
    return std::ranges::find(reasonNames, reason, &ReasonName::reason)->name;
}

std::optional<ReinstallReason> reinstallReasonOfName(std::wstring_view name) {
    const auto row = std::ranges::find(reasonNames, name, &ReasonName::name);
    return row == reasonNames.end() ? std::nullopt : std::optional(row->reason);
}

} // namespace kelvane::bst
