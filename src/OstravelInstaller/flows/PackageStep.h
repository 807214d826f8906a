#pragma once

#include "OstravelInstaller/context/RunContext.h"

#include <filesystem>
#include <optional>
#include <string_view>

namespace kelvane::bst {

// A run of the agent's installer as a step of a flow.
struct PackageStep {
    std::filesystem::path installer;
    std::optional<std::filesystem::path> currentConfigDir{};
    bool healthCheckPassed = false;
    bool waitForOthers = false;    // while another installation is in progress, for ten minutes at most
    std::wstring_view resultKey{}; // where the telemetry record keeps how it ended: "1" or "2"
};

// The command line that runs it. Throws as installerCommandLine.
std::wstring packageCommandLine(const RunContext& context, const PackageStep& step);

// Runs it. MonitorStuck when the monitor driver hangs meanwhile: the installer goes on running then. After a success
// the run knows where to report, if the agent's files tell. Throws as packageCommandLine and runInstallerPackage, but
// for StuckMonitorError.
InstallerResult runPackageStep(RunContext& context, const PackageStep& step);

// The same for an agent that is installed where there is none: prints why Windows Installer did not start the package,
// and deals with a monitor that hangs.
InstallerResult runInstallationStep(RunContext& context, const PackageStep& step);

} // namespace kelvane::bst
