#pragma once

#include "OstravelInstaller/context/RunContext.h"
#include "OstravelInstaller/package/MsiPackage.h"

#include <cstdint>
#include <filesystem>
#include <optional>

// Running the agent's installer: a Windows Installer package through msiexec.exe, or a setup program.
namespace kelvane::bst {

// The installer of this run: the alternative one that it was given, else the payload's.
// Throws std::runtime_error as PayloadPackage::installer.
std::filesystem::path installerPath(const RunContext& context);
// The same for an installation that only a package can do; for a setup program std::runtime_error "Cannot use a non-MSI
// installer for initial installation".
std::filesystem::path initialInstallerPath(const RunContext& context);
// The agent version that this run installs: an alternative package's ProductVersion, else the payload's VERSION.
AgentVersion versionToInstall(const RunContext& context);

// The command line that runs the installer. Throws std::runtime_error for a value that no property can carry, for one
// that is longer than Windows takes, and as installerCommandLine.
std::wstring packageCommandLine(const RunContext& context, const std::filesystem::path& installer,
                                const std::optional<std::filesystem::path>& currentConfigDir,
                                bool healthCheckPassed = false);

// Runs the installer and waits for it, watching the monitor driver. Keeps what came of it in the context (lastPackage)
// and the exit code in the telemetry record (msiExitCode), and notes there that a reboot is advised when the package
// ends with one. Throws std::runtime_error ("Invalid Installer type", "Installer is still running", a value that no
// property can carry), StuckMonitorError, Win32Error, filesystem_error "exists".
PackageRun runInstallerPackage(RunContext& context, const std::filesystem::path& installer,
                               const std::optional<std::filesystem::path>& currentConfigDir,
                               bool healthCheckPassed = false);

} // namespace kelvane::bst
