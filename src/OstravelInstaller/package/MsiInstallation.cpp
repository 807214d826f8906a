#include "OstravelInstaller/package/MsiInstallation.h"

#include "OstravelInstaller/context/Messages.h"
#include "OstravelInstaller/package/MsiPackage.h"
#include "OstravelInstaller/package/MsiProperties.h"
#include "OstravelInstaller/package/PackageExit.h"
#include "OstravelInstallerLib/Console.h"
#include "OstravelInstallerLib/InstallerProperty.h"
#include "OstravelInstallerLib/ProcessWait.h"
#include "OstravelInstallerLib/ProgressLine.h"
#include "ProductLib/InstallerEvents.h"
#include "ProductLib/MonitorStatus.h"

#include <format>
#include <stdexcept>

namespace kelvane::bst {
namespace {

std::uint32_t execute(const std::wstring& commandLine, const std::filesystem::path& program) {
    logEvent(LogLevel::Verbose, "executeInstallerCommand", {{"command", loggedCommandLine(commandLine)}});
    const auto wait = stuckMonitorWait({&isMonitorServiceRunning, &isMonitorPortDown});
    const ElapsedTime progress(messages::waitingForPackage);
    const std::uint32_t exitCode = executeProcess(commandLine, wait, {.program = program});
    if (exitCode == STILL_ACTIVE) throw std::runtime_error("Installer is still running");
    return exitCode;
}

PackageRun interpret(InstallerType type, std::uint32_t exitCode, const PackageMarks& marks) {
    const bool package = type == InstallerType::WindowsInstallerPackage;
    return {.result = package ? packageResult(exitCode, marks.failureReason) : setupProgramResult(exitCode),
            .exitCode = exitCode,
            .wantsReboot = package && packageWantsReboot(exitCode),
            .failureReason = marks.failureReason,
            .removedExistingProducts = marks.removedExistingProducts};
}

} // namespace

std::filesystem::path installerPath(const Asked& asked, const PayloadPackage& payload) {
    return asked.alternativeInstaller ? *asked.alternativeInstaller : payload.installer();
}

std::filesystem::path initialInstallerPath(const Asked& asked, const PayloadPackage& payload) {
    const auto path = installerPath(asked, payload);
    if (installerType(path) != InstallerType::WindowsInstallerPackage) {
        throw std::runtime_error("Cannot use a non-MSI installer for initial installation");
    }
    return path;
}

AgentVersion versionToInstall(const Asked& asked, const PayloadPackage& payload) {
    return asked.alternativeInstaller ? packageProductVersion(*asked.alternativeInstaller) : payload.version();
}

PackageRun runInstallerPackage(const std::filesystem::path& installer, const std::wstring& commandLine) {
    const InstallerType type = installerType(installer);
    const bool unmarked = deletePackageMarks();
    const auto exitCode = execute(commandLine, type == InstallerType::SetupProgram ? installer : msiexecPath());
    const PackageRun run = interpret(type, exitCode, unmarked ? readPackageMarks() : PackageMarks{});
    logEvent(LogLevel::Verbose, "InstallerExitCode", {{"ExitCode", exitCode}, {"Result", code(run.result)}});
    if (!isSuccess(run.result)) noteUnprinted(std::format("The installer ended with exit code {}", exitCode));
    return run;
}

} // namespace kelvane::bst
