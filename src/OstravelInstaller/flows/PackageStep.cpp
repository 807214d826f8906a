#include "OstravelInstaller/flows/PackageStep.h"

#include "OstravelInstaller/context/FindAgent.h"
#include "OstravelInstaller/context/Messages.h"
#include "OstravelInstaller/flows/MainFlow.h"
#include "OstravelInstaller/package/MsiInstallation.h"
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

void waitForOthers() {
    const ElapsedTime progress(messages::waitingForOthers);
    Sleep(pauseMs);
}

InstallerResult runInstaller(RunContext& context, const PackageStep& step) {
    const auto run = [&] {
        return runInstallerPackage(context, step.installer, step.currentConfigDir, step.healthCheckPassed).result;
    };
    try {
        InstallerResult result = run();
        for (int pauses = 0; step.waitForOthers && result == InstallerResult::MsiInProgress && pauses < mostPauses;
             ++pauses) {
            waitForOthers();
            result = run();
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

InstallerResult runPackageStep(RunContext& context, const PackageStep& step) {
    const InstallerResult result = runInstaller(context, step);
    context.telemetry.SetValue(step.resultKey, isSuccess(result) ? L"1" : L"2");
    if (!isSuccess(result)) return result;
    userLog(win32::TraceLevel::Information, messages::installationCompleted);
    // Where the run was not told where to report, the agent's files know it now.
    if (findManagementSite(context).server.empty()) findAgent(context);
    return result;
}

InstallerResult runInstallationStep(RunContext& context, const PackageStep& step) {
    const InstallerResult result = runPackageStep(context, step);
    if (result == InstallerResult::MonitorStuck) return handleStuckMonitor(context);
    printPackageRefusal(result);
    return result;
}

} // namespace kelvane::bst
