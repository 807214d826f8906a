#include "OstravelInstaller/flows/PackageStep.h"

#include "OstravelInstaller/context/Messages.h"
#include "OstravelInstaller/flows/MainFlow.h"
#include "OstravelInstaller/package/MsiInstallation.h"
#include "OstravelInstaller/package/MsiProperties.h"
#include "OstravelInstaller/reporting/Enrolment.h"
#include "OstravelInstallerLib/Console.h"
#include "OstravelInstallerLib/ProcessWait.h"
#include "OstravelInstallerLib/ProgressLine.h"
#include "ProductLib/InstallerEvents.h"
#include "libkelvane/UserLog.h"

#include <windows.h>

namespace kelvane::bst {
namespace {

constexpr DWORD pauseMs = 30'000;
constexpr int mostPauses = 20;

InstallerResult runOnce(RunContext& context, const PackageStep& step) {
    const auto commandLine = packageCommandLine(context, step);
    Reported& reported = context.reported;
    reported.lastPackage.reset();
    const PackageRun run = runInstallerPackage(step.installer, commandLine);
    reported.lastPackage = run;
    reported.telemetry.SetValue(TelemetryKey::msiExitCode, std::to_wstring(run.exitCode));
    if (run.wantsReboot) reported.dynamicMonitoringRebootAdvised = true;
    return run.result;
}

void waitForOthers() {
    const ElapsedTime progress(messages::waitingForOthers);
    Sleep(pauseMs);
}

InstallerResult runInstaller(RunContext& context, const PackageStep& step) {
    try {
        InstallerResult result = runOnce(context, step);
        for (int pauses = 0; step.waitForOthers && result == InstallerResult::MsiInProgress && pauses < mostPauses;
             ++pauses) {
            waitForOthers();
            result = runOnce(context, step);
        }
        return result;
    } catch (const StuckMonitorError&) {
        return InstallerResult::MonitorStuck;
    }
}

void printPackageRefusal(InstallerResult result) {
    if (result == InstallerResult::MsiInProgress) printLine(messages::msiInProgress);
    if (result == InstallerResult::MsiCommandLineInvalid) printLine(messages::msiCommandLineInvalid);
}

} // namespace

std::wstring packageCommandLine(const RunContext& context, const PackageStep& step) {
    const Decided& decided = context.decided;
    return installerCommandLine(
        step.installer, decided.msiArguments, context.asked.cmdLine->quiet(),
        {.currentConfigDir = step.currentConfigDir,
         .reinstallReason = reinstallReasonName(decided.reinstallReason.value_or(ReinstallReason::NoReason)),
         .siteToken = context.found.siteToken,
         .installationId = context.asked.installationId,
         .extraText = decided.extraMsiText,
         .healthCheckPassed = step.healthCheckPassed});
}

InstallerResult runPackageStep(RunContext& context, const PackageStep& step) {
    const InstallerResult result = runInstaller(context, step);
    context.reported.telemetry.SetValue(step.resultKey, isSuccess(result) ? L"1" : L"2");
    if (!isSuccess(result)) return result;
    context.reported.installationDone = true;
    userLog(win32::TraceLevel::Information, messages::installationCompleted);
    // Where the run was not told where to report, the agent's files know it now.
    if (findManagementSite(context.found).server.empty()) {
        context.found = findAgent(context.asked.cmdLine->fallback_site_token.value);
    }
    return result;
}

InstallerResult runInstallationStep(RunContext& context, const PackageStep& step) {
    const InstallerResult result = runPackageStep(context, step);
    if (result == InstallerResult::MonitorStuck) return handleStuckMonitor(context);
    printPackageRefusal(result);
    return result;
}

} // namespace kelvane::bst
