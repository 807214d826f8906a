#include "OstravelInstaller/context/Messages.h"
#include "OstravelInstaller/flows/PackageStep.h"
#include "OstravelInstaller/flows/PreserveConfiguration.h"
#include "OstravelInstaller/flows/Progress.h"
#include "OstravelInstaller/flows/Requirements.h"
#include "OstravelInstaller/flows/Upgrade.h"
#include "OstravelInstaller/package/MsiInstallation.h"
#include "OstravelInstallerLib/Console.h"
#include "ProductLib/InstallerEvents.h"
#include "SharedLib/AgentConfigUtils.h"
#include "SharedLib/InstallationUtils.h"
#include "libkelvane/Authenticode.h"
#include "libkelvane/Guid.h"

#include <optional>

namespace kelvane::bst {
namespace {

constexpr AgentVersion oldestDowngradable{22, 3, 0, 0};
constexpr AgentVersion oldestUpgradable{4, 6, 0, 0};

// A failed test: its event, what it prints (nothing when empty), the reason that it records, and the result.
InstallerResult failTest(RunContext& context, const char* event, std::wstring_view line, ReinstallReason reason,
                         InstallerResult result) {
    logEvent(LogLevel::Error, event);
    if (!line.empty()) printLine(line);
    recordReinstallReason(context, reason);
    return result;
}

std::optional<InstallerResult> testVersions(RunContext& context, const AgentVersion& package) {
    const AgentVersion& installed = context.found.agent.version;
    if (!context.found.agent.versionFound) {
        return failTest(context, "CouldNotDetermineInstalledVersion", L"",
                        ReinstallReason::CouldNotDetermineInstalledVersion, InstallerResult::InstalledVersionUnknown);
    }
    logEvent(LogLevel::Verbose, "VersionsInfo",
             {{"InstalledVersion", installed.str()}, {"VersionToInstall", package.str()}});
    if (installed > package) {
        logEvent(LogLevel::Error, "DowngradeDetected");
        context.decided.downgradeDetected = true;
    }
    if (installed == package) {
        return failTest(context, "SameVersionAlreadyInstalled", L"", ReinstallReason::SameAgentAlreadyInstalled,
                        InstallerResult::SameOrNewerInstalled);
    }
    // From 22.3 on the agent's package can install over a newer one.
    if (context.decided.downgradeDetected && installed < oldestDowngradable) {
        return failTest(context, "NewerVersionAlreadyInstalled", L"", ReinstallReason::NewerAgentAlreadyInstalled,
                        InstallerResult::SameOrNewerInstalled);
    }
    return std::nullopt;
}

std::optional<InstallerResult> testInstalledAgent(RunContext& context) {
    const auto cachedPackage = cachedAgentPackage();
    if (cachedPackage && !authenticode::isSignerTrusted(*cachedPackage)) {
        return failTest(context, "BaseMsiInstallerIsNotTrusted", messages::patchedInstaller,
                        ReinstallReason::BaseAgentInstallerUntrusted, InstallerResult::InstallationFailed);
    }
    if (context.found.agent.version < oldestUpgradable) {
        return failTest(context, "AgentTooOldForInitialInstall", messages::agentTooOld, ReinstallReason::OldAgent,
                        InstallerResult::InstallationFailed);
    }
    if (!agentReady(context.found.agent)) {
        logEvent(LogLevel::Error, "AgentNotReadyForUpgrade");
        return failTest(context, "HealthCheckFailed", messages::healthCheckFailed, ReinstallReason::HealthCheck,
                        InstallerResult::InstallationFailed);
    }
    return std::nullopt;
}

AgentVersion packageVersion(const RunContext& context) {
    try {
        return versionToInstall(context.asked, context.carried.payload);
    } catch (const std::exception& error) {
        logEvent(LogLevel::Error, "NoVersionToInstall", {{"ErrorMsg", error.what()}});
        throw;
    }
}

InstallerResult runPackage(RunContext& context) {
    logEvent(LogLevel::Verbose, "StartingUpgrade");
    if (const auto unmet = checkRequirements(context.asked.cmdLine, RequirementsOf::Upgrade)) {
        context.reported.telemetry.SetValue(TelemetryKey::upgradeResult, L"2");
        if (unmet == InstallerResult::DiskSpaceForUpgrade) {
            logEvent(LogLevel::Error, "SystemRequirementsNotMetDiskSpaceForUpgrade");
        }
        return *unmet;
    }
    return runPackageStep(context, {.installer = initialInstallerPath(context.asked, context.carried.payload),
                                    .currentConfigDir = configDirForPackage(context.carried),
                                    .healthCheckPassed = true,
                                    .resultKey = TelemetryKey::upgradeResult});
}

} // namespace

InstallerResult runUpgrade(RunContext& context) {
    const AgentVersion package = packageVersion(context);
    if (const auto failed = testVersions(context, package)) return *failed;
    if (const auto failed = testInstalledAgent(context)) return *failed;

    printLine(messages::allTestsSucceeded);
    printLine(messages::upgradingAgent);
    logEvent(LogLevel::Verbose, "InstallingAgentVersion", {{"VersionToInstall", package.str()}});
    context.reported.telemetry.SetValue(TelemetryKey::upgradeId, newGuid());
    enterPhase(context, InstallationPhaseType::Upgrade, L"upgrade");
    const InstallerResult result = runPackage(context);
    if (result == InstallerResult::UpgradeFailed || result == InstallerResult::InstallationFailed) {
        logEvent(LogLevel::Error, "InstallFailed");
        recordReinstallReason(context, ReinstallReason::InstallerExecutionFailed);
    } else if (result == InstallerResult::MonitorStuck) {
        recordReinstallReason(context, ReinstallReason::StuckMonitor);
    }
    return result;
}

} // namespace kelvane::bst
