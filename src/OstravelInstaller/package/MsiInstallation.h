#pragma once

#include "OstravelInstaller/context/Asked.h"
#include "OstravelInstaller/context/PackageRun.h"
#include "OstravelInstaller/context/PayloadPackage.h"

#include <filesystem>
#include <optional>
#include <string>

// Running the agent's installer: a Windows Installer package through msiexec.exe, or a setup program.
namespace kelvane::bst {

// The installer of this run: the alternative one that it was given, else the payload's.
// Throws std::runtime_error as PayloadPackage::installer.
std::filesystem::path installerPath(const Asked& asked, const PayloadPackage& payload);
// The same for an installation that only a package can do; for a setup program std::runtime_error "Cannot use a non-MSI
// installer for initial installation".
std::filesystem::path initialInstallerPath(const Asked& asked, const PayloadPackage& payload);
// The agent version that this run installs: an alternative package's ProductVersion, else the payload's VERSION.
AgentVersion versionToInstall(const Asked& asked, const PayloadPackage& payload);

// Runs the installer with its command line (installerCommandLine) and waits for it, watching the monitor driver. Throws
// std::runtime_error ("Invalid Installer type", "Installer is still running"), StuckMonitorError, Win32Error.
PackageRun runInstallerPackage(const std::filesystem::path& installer, const std::wstring& commandLine);

} // namespace kelvane::bst
