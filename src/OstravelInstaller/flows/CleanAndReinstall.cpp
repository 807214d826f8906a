#include "OstravelInstaller/flows/CleanAndReinstall.h"

#include "OstravelInstaller/context/Messages.h"
#include "OstravelInstaller/flows/CleaningStage.h"
#include "OstravelInstaller/flows/PackageStep.h"
#include "OstravelInstaller/flows/PreserveConfiguration.h"
#include "OstravelInstaller/flows/Progress.h"
#include "OstravelInstaller/flows/ReinstallPreparation.h"
#include "OstravelInstaller/flows/Requirements.h"
#include "OstravelInstallerLib/Console.h"
#include "ProductLib/InstallerEvents.h"
#include "SharedLib/InstallationUtils.h"
#include "SharedLib/InstalledAgent.h"
#include "libkelvane/Guid.h"

#include <windows.h>

#include <exception>

namespace kelvane::bst {
namespace {

InstallerResult installStage(RunContext& context, const InstallerFile& installer) {
    guardPackage(context);
    if (GetSystemMetrics(SM_CLEANBOOT) != 0) {
        logEvent(LogLevel::Error, "CantInstallInSafeMode");
        return endWith(messages::noSafeModeInstall, InstallerResult::InstallationFailed);
    }
    return installNewAgent(context, installer);
}

InstallerResult rebootBeforeInstalling(RunContext& context) {
    printLine(messages::rebootBeforeReinstall);
    return continueAfterReboot(context, PostRebootAction::Install, InstallerResult::InstallationFailed);
}

// There is no agent now: what keeps the package from being run is left to the next boot.
template <class Step>
InstallerResult orAtTheNextBoot(RunContext& context, Step step) {
    try {
        return step();
    } catch (const std::exception& error) {
        if (!mayTryAgain(context)) throw;
        logEvent(LogLevel::Error, "InstallationAfterCleaningFailed", {{"ErrorMsg", error.what()}});
        context.reported.telemetry.SetValueUtf8(TelemetryKey::errorString, error.what());
        return rebootBeforeInstalling(context);
    }
}

void requireReason(RunContext& context, bool afterInitialInstallation) {
    if (context.decided.reinstallReason) return;
    logEvent(LogLevel::Verbose,
             afterInitialInstallation ? "ReinstallReasonEmptyAfterFreshInstallFailure" : "ReinstallReasonIsNotSet");
    recordReinstallReason(context, ReinstallReason::NoReason);
}

// With the way on made ready before the agent goes: a machine does not lose it to a run that cannot put another in its
// place.
InstallerResult cleanThenInstall(RunContext& context, PostRebootAction stage, bool afterInitialInstallation) {
    if (const auto unmet = checkRequirements(context.asked.cmdLine, RequirementsOf::FreshInstallation)) return *unmet;
    const InstallerFile installer = prepareInstaller(context);
    if (!registerGuard(context, PostRebootAction::CleanAndInstall)) {
        return endWith(messages::taskNotCreated, InstallerResult::InstallationFailed);
    }
    const CleaningResult cleaning = runCleaningStage(context, stage);
    if (cleaning.ending) return *cleaning.ending;
    if (cleaning.needsReboot) return rebootBeforeInstalling(context);
    requireReason(context, afterInitialInstallation);
    return orAtTheNextBoot(context, [&] { return installStage(context, installer); });
}

// A package that was cut off leaves parts of an agent, which Windows Installer does not know as a product yet.
bool agentIsThere(const RunContext& context) {
    return context.continuation.packageStarted ? !relatedProducts().empty() : agentStillInstalled();
}

// The second half of a clean and reinstall, after the reboot.
InstallerResult installAfterReboot(RunContext& context) {
    if (agentIsThere(context)) {
        logEvent(LogLevel::Error, "AgentAlreadyInstalled");
        return endWith(messages::agentAlreadyInstalled, InstallerResult::InstallationFailed);
    }
    removeLeftoverAgentFolders();
    return orAtTheNextBoot(context, [&] { return installStage(context, prepareInstaller(context)); });
}

} // namespace

InstallerResult cleanAndReinstall(RunContext& context, PostRebootAction stage, bool afterInitialInstallation) {
    if (stage == PostRebootAction::Install) return installAfterReboot(context);
    const bool cleanOnly = context.asked.cmdLine->clean_only.value;
    context.reported.telemetry.SetValue(TelemetryKey::installerActionType, cleanOnly ? L"clean" : L"reinstall");
    if (cleanOnly) return runCleaningStage(context, stage).ending.value();
    return cleanThenInstall(context, stage, afterInitialInstallation);
}

InstallerResult installNewAgent(RunContext& context, const InstallerFile& installer) {
    printLine(messages::installingAgent);
    context.reported.telemetry.SetValue(TelemetryKey::reinstallationId, newGuid());
    const LatePhaseReport report(context, InstallationPhaseType::Reinstallation, L"reinstallation");
    return runInstallationStep(context, {.installer = installer.path(),
                                         .currentConfigDir = configDirForPackage(context.carried),
                                         .waitForOthers = true,
                                         .resultKey = TelemetryKey::reinstallationResult});
}

} // namespace kelvane::bst
