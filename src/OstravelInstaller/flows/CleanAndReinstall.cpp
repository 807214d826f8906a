#include "OstravelInstaller/flows/CleanAndReinstall.h"

#include "OstravelInstaller/context/Messages.h"
#include "OstravelInstaller/flows/CleaningStage.h"
#include "OstravelInstaller/flows/PackageStep.h"
#include "OstravelInstaller/flows/PreserveConfiguration.h"
#include "OstravelInstaller/flows/Progress.h"
#include "OstravelInstaller/package/MsiInstallation.h"
#include "OstravelInstaller/package/MsiProperties.h"
#include "OstravelInstallerLib/Console.h"
#include "ProductLib/InstallerEvents.h"
#include "SharedLib/InstallationUtils.h"
#include "SharedLib/InstalledAgent.h"
#include "libkelvane/FileUtilities.h"
#include "libkelvane/Guid.h"

#include <windows.h>

#include <stdexcept>

namespace kelvane::bst {
namespace {

InstallerResult installStage(RunContext& context) {
    if (GetSystemMetrics(SM_CLEANBOOT) != 0) {
        logEvent(LogLevel::Error, "CantInstallInSafeMode");
        return endWith(messages::noSafeModeInstall, InstallerResult::InstallationFailed);
    }
    appendInstallAfterCleaning(context.msiArguments);
    return installNewAgent(context);
}

InstallerResult rebootBeforeInstalling(RunContext& context) {
    printLine(messages::rebootBeforeReinstall);
    return continueAfterReboot(context, PostRebootAction::Install, InstallerResult::InstallationFailed);
}

void requireReason(RunContext& context, bool afterInitialInstallation) {
    if (context.reinstallReason) return;
    logEvent(LogLevel::Verbose,
             afterInitialInstallation ? "ReinstallReasonEmptyAfterFreshInstallFailure" : "ReinstallReasonIsNotSet");
    recordReinstallReason(context, ReinstallReason::NoReason);
}

// A machine does not lose its agent to a run that has nothing to put in its place.
void requireInstaller(const RunContext& context) {
    const auto installer = installerPath(context);
    installerType(installer);
    if (!FileUtilities::exists(installer)) throw std::runtime_error("The alternative installer does not exist");
}

InstallerResult cleanThenInstall(RunContext& context, PostRebootAction stage, bool afterInitialInstallation) {
    if (!context.cmdLine->clean_only.value) requireInstaller(context);
    const CleaningResult cleaning = runCleaningStage(context, stage);
    if (cleaning.ending) return *cleaning.ending;
    if (cleaning.needsReboot) return rebootBeforeInstalling(context);
    requireReason(context, afterInitialInstallation);
    return installStage(context);
}

// The second half of a clean and reinstall, after the reboot.
InstallerResult installAfterReboot(RunContext& context) {
    if (agentStillInstalled()) {
        logEvent(LogLevel::Error, "AgentAlreadyInstalled");
        return endWith(messages::agentAlreadyInstalled, InstallerResult::InstallationFailed);
    }
    removeLeftoverAgentFolders();
    return installStage(context);
}

} // namespace

InstallerResult cleanAndReinstall(RunContext& context, PostRebootAction stage, bool afterInitialInstallation) {
    if (stage == PostRebootAction::Install) return installAfterReboot(context);
    return cleanThenInstall(context, stage, afterInitialInstallation);
}

InstallerResult installNewAgent(RunContext& context) {
    printLine(messages::installingAgent);
    context.telemetry.SetValue(TelemetryKey::reinstallationId, newGuid());
    enterPhase(context, InstallationPhaseType::Reinstallation, L"reinstallation");
    return runInstallationStep(context, {.installer = installerPath(context),
                                         .currentConfigDir = configDirForPackage(),
                                         .resultKey = TelemetryKey::reinstallationResult});
}

} // namespace kelvane::bst
