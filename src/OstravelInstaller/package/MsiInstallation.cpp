#include "OstravelInstaller/package/MsiInstallation.h"

#include "OstravelInstaller/context/Messages.h"
#include "OstravelInstaller/package/MsiProperties.h"
#include "OstravelInstaller/package/PackageExit.h"
#include "OstravelInstallerLib/Console.h"
#include "OstravelInstallerLib/InstallerProperty.h"
#include "OstravelInstallerLib/ProcessWait.h"
#include "OstravelInstallerLib/ProgressLine.h"
#include "ProductLib/InstallerEvents.h"
#include "ProductLib/MonitorStatus.h"
#include "libwin32/CommandLine.h"

#include <format>
#include <stdexcept>

namespace kelvane::bst {
namespace {

RunProperties runProperties(const RunContext& context, const std::optional<std::filesystem::path>& currentConfigDir,
                            bool healthCheckPassed) {
    return {.currentConfigDir = currentConfigDir,
            .reinstallReason = reinstallReasonName(context.reinstallReason.value_or(ReinstallReason::NoReason)),
            .siteToken = context.siteToken(),
            .installationId = context.installationId,
            .extraText = context.extraMsiText,
            .healthCheckPassed = healthCheckPassed};
}

std::uint32_t execute(const std::wstring& commandLine, const std::filesystem::path& program) {
    logEvent(LogLevel::Verbose, "executeInstallerCommand", {{"command", loggedCommandLine(commandLine)}});
    const auto wait = stuckMonitorWait({&isMonitorServiceRunning, &isMonitorPortDown});
    const ElapsedTime progress(messages::waitingForPackage);
    const std::uint32_t exitCode = executeProcess(commandLine, wait, {.program = program});
    if (exitCode == STILL_ACTIVE) throw std::runtime_error("Installer is still running");
    return exitCode;
}

PackageRun interpret(InstallerType type, std::uint32_t exitCode, const PackageMarks& marks) {
    const auto result = type == InstallerType::SetupProgram ? setupProgramResult(exitCode)
                                                            : packageResult(exitCode, marks.failureReason);
    return {result, exitCode, marks.failureReason, marks.removedExistingProducts};
}

} // namespace

std::filesystem::path installerPath(const RunContext& context) {
    return context.alternativeInstaller ? *context.alternativeInstaller : context.payload.installer();
}

std::filesystem::path initialInstallerPath(const RunContext& context) {
    const auto path = installerPath(context);
    if (installerType(path) != InstallerType::WindowsInstallerPackage) {
        throw std::runtime_error("Cannot use a non-MSI installer for initial installation");
    }
    return path;
}

AgentVersion versionToInstall(const RunContext& context) {
    const auto& alternative = context.alternativeInstaller;
    return alternative ? packageProductVersion(*alternative) : context.payload.version();
}

std::wstring packageCommandLine(const RunContext& context, const std::filesystem::path& installer,
                                const std::optional<std::filesystem::path>& currentConfigDir, bool healthCheckPassed) {
    auto commandLine = installerCommandLine(installer, context.msiArguments, context.cmdLine->quiet(),
                                            runProperties(context, currentConfigDir, healthCheckPassed));
    win32::checkCommandLine(commandLine);
    return commandLine;
}

PackageRun runInstallerPackage(RunContext& context, const std::filesystem::path& installer,
                               const std::optional<std::filesystem::path>& currentConfigDir, bool healthCheckPassed) {
    const InstallerType type = installerType(installer);
    const auto commandLine = packageCommandLine(context, installer, currentConfigDir, healthCheckPassed);
    context.lastPackage.reset();
    const bool unmarked = deletePackageMarks();
    const auto exitCode = execute(commandLine, type == InstallerType::SetupProgram ? installer : msiexecPath());
    const PackageRun run = interpret(type, exitCode, unmarked ? readPackageMarks() : PackageMarks{});
    logEvent(LogLevel::Verbose, "InstallerExitCode", {{"ExitCode", exitCode}, {"Result", code(run.result)}});
    if (!isSuccess(run.result)) noteUnprinted(std::format("The installer ended with exit code {}", exitCode));
    context.lastPackage = run;
    context.telemetry.SetValue(TelemetryKey::msiExitCode, std::to_wstring(exitCode));
    if (type == InstallerType::WindowsInstallerPackage && packageWantsReboot(exitCode)) {
        context.dynamicMonitoringRebootAdvised = true;
    }
    return run;
}

} // namespace kelvane::bst
