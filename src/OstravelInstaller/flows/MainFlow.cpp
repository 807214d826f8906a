#include "OstravelInstaller/flows/MainFlow.h"

#include "OstravelInstaller/context/Messages.h"
#include "OstravelInstaller/context/ProgramVersion.h"
#include "OstravelInstaller/continuation/RebootContinuation.h"
#include "OstravelInstaller/flows/CleanAndReinstall.h"
#include "OstravelInstaller/flows/PreserveConfiguration.h"
#include "OstravelInstaller/flows/Progress.h"
#include "OstravelInstaller/flows/Upgrade.h"
#include "OstravelInstallerLib/Console.h"
#include "ProductLib/InstallerEvents.h"
#include "ProductLib/MonitorStatus.h"

#include <format>

namespace kelvane::bst {
namespace {

void greet(const Options& options) {
    if (options.quiet()) return;
    openInteractiveConsole();
    printLine(std::format(L"OstravelInstaller {}", programVersion));
}

bool siteTokenMissing(const RunContext& context) {
    const Options& options = context.asked.cmdLine.options();
    if (context.found.siteToken) return false;
    return !(options.clean_only.value && options.diagnostics_site_token.given);
}

// Without its identifier a stateless run would give the machine a new agent identity unasked.
bool agentUidMissing(const RunContext& context) {
    const Options& options = context.asked.cmdLine.options();
    return !context.found.agentUid && options.stateless() && !options.clean_only.value &&
           !options.dont_preserve_agent_uid.value && !options.dont_fail_on_config_preserving_failures.value;
}

bool declined(const Options& options) {
    const bool unattended =
        options.quiet() || options.clean_only.value || options.afterReboot() || options.diagnostics_only.value;
    return !unattended && !askYesNo(messages::askUpgrade);
}

InstallerResult chooseWay(RunContext& context) {
    const Options& options = context.asked.cmdLine.options();
    if (options.afterReboot()) return cleanAndReinstall(context, decodePostRebootAction(options.r.value), false);
    if (options.stateless() && !options.clean_only.value) {
        const InstallerResult result = upgrade(context);
        if (result != InstallerResult::FallBackToReinstall) return result;
        return cleanAndReinstall(context, PostRebootAction::None, false);
    }
    return cleanAndReinstall(context, PostRebootAction::CleanAndInstall, false);
}

} // namespace

InstallerResult runMain(RunContext& context) {
    const Options& options = context.asked.cmdLine.options();
    greet(options);
    if (!options.afterReboot()) forgetConfigBackup(context.carried);
    if (options.clean_only.value) forgetContinuation(context);
    if (siteTokenMissing(context)) {
        logEvent(LogLevel::Error, "MissingSiteToken");
        return endWith(messages::siteTokenMissing, InstallerResult::SiteTokenMissing);
    }
    if (agentUidMissing(context)) {
        logEvent(LogLevel::Error, "FailedRetrievingAgentUid");
        return endWith(messages::agentUidMissing, InstallerResult::AgentUidMissing);
    }
    if (!preserveConfiguration(context)) return endWith(messages::backupFailed, InstallerResult::BackupFailed);
    completeProxyProperty(context);
    if (declined(options)) return InstallerResult::UserDeclined;
    if (isMonitorStuck()) return handleStuckMonitor(context);
    return chooseWay(context);
}

InstallerResult handleStuckMonitor(RunContext& context) {
    const Options& options = context.asked.cmdLine.options();
    if (options.afterReboot()) {
        logEvent(LogLevel::Error, "KelvaneMonitorIsStuckOnUnloadAfterReboot");
        return endWith(messages::monitorStuckAfterReboot, InstallerResult::MonitorStuck);
    }
    logEvent(LogLevel::Error, "KelvaneMonitorIsStuckOnUnload");
    printLine(messages::monitorStuck);
    printLine(messages::rebootBeforeRunning);
    if (options.clean_only.value) return InstallerResult::MonitorStuck;
    return continueAfterReboot(context, PostRebootAction::CleanAndInstall, InstallerResult::MonitorStuck);
}

} // namespace kelvane::bst
