#include "OstravelInstaller/run/Dispatcher.h"

#include "OstravelInstaller/context/Messages.h"
#include "OstravelInstaller/continuation/ContinuationFolder.h"
#include "OstravelInstaller/continuation/ExitCodeFile.h"
#include "OstravelInstaller/continuation/RebootContinuation.h"
#include "OstravelInstaller/flows/CleanAndReinstall.h"
#include "OstravelInstaller/flows/Diagnostics.h"
#include "OstravelInstaller/flows/InitialInstallation.h"
#include "OstravelInstaller/flows/MainFlow.h"
#include "OstravelInstaller/flows/PreserveConfiguration.h"
#include "OstravelInstaller/package/MsiInstallation.h"
#include "OstravelInstaller/package/PackageExit.h"
#include "OstravelInstallerLib/Console.h"
#include "ProductLib/InstallerEvents.h"

namespace kelvane::bst {
namespace {

bool agentPresent(const RunContext& context) { return context.found.agent.versionFound || agentRegistered(); }

InstallerResult installOnCleanMachine(RunContext& context) {
    const InstallerResult result = runInitialInstallation(context);
    if (isSuccess(result)) return result;
    if (!context.reported.lastPackage) return result;
    if (!context.asked.cmdLine->quiet()) {
        logEvent(LogLevel::Error, "ReinstallInUiModeUnsupported");
        return result;
    }
    if (context.reported.lastPackage->failureReason != MsiFailureReason::multipleRelatedProducts) return result;
    logEvent(LogLevel::Verbose, "ReinstallingDueToMultipleRelatedProducts");
    forgetConfigBackup(context.carried);
    return cleanAndReinstall(context, PostRebootAction::CleanAndInstall, true);
}

} // namespace

void forgetEarlierResult(const Options& options) noexcept {
    try {
        removeExitCodeFile(options.afterReboot());
    } catch (const std::exception&) {
        // The file is overwritten at the end of the run in any case.
    }
}

InstallerResult dispatch(RunContext& context) {
    const Options& options = context.asked.cmdLine.options();
    const PostRebootAction stage = decodePostRebootAction(options.r.value);
    lookForContinuation(context);
    refuseEndlessBoots(context);
    if (checkPendingReboot(context)) return InstallerResult::AlreadyPendingReboot;
    if (context.continuation.nothingFound) removeStaleFolders(context.carried.baseFolder, context.carried.tempDir);
    context.carried.payload.extract(context.carried.tempDir);
    if (options.diagnostics_only.value) return runDiagnosticsOnly(context);
    if (options.diagnostics.value) takeDiagnostics(context);

    const bool initial = stage == PostRebootAction::None && !options.clean_only.value && !agentPresent(context);
    return initial ? installOnCleanMachine(context) : runMain(context);
}

bool checkPendingReboot(RunContext& context) {
    const Options& options = context.asked.cmdLine.options();
    if (options.afterReboot() || options.ignore_pending_reboot_request.value || options.diagnostics_only.value) {
        return false;
    }
    if (!waitsForReboot(context)) return false;
    context.continuation.scheduled = true;
    logEvent(LogLevel::Verbose, "OstravelInstallerIsAlreadyPendingForReboot");
    printLine(messages::alreadyRequiresReboot);
    return true;
}

} // namespace kelvane::bst
