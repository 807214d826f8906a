#include "OstravelInstaller/run/FinishRun.h"

#include "OstravelInstaller/context/Messages.h"
#include "OstravelInstaller/continuation/ExitCodeFile.h"
#include "OstravelInstaller/continuation/Reboot.h"
#include "OstravelInstaller/flows/PreserveConfiguration.h"
#include "OstravelInstaller/reporting/PhaseReport.h"
#include "OstravelInstaller/run/ClosingSentence.h"
#include "OstravelInstallerLib/Console.h"
#include "ProductLib/InstallerEvents.h"
#include "libkelvane/FileUtilities.h"

namespace kelvane::bst {
namespace {

void removeWorkingDirectory(RunContext& context) {
    context.payload.clear();
    if (!context.tempDirCreated || context.tempDirIsFallback) return;
    FileUtilities::deleteDirectoryNoThrow(context.tempDir);
    // Somebody else may make a directory of that name from now on.
    context.tempDir.clear();
}

void recordResult(RunContext& context) {
    // The record of a run before a reboot may have brought an earlier error.
    if (code(context.result) >= 1000) context.telemetry.SetValueUtf8(TelemetryKey::errorString, lastWord());
    context.telemetry.SetValue(TelemetryKey::installerReturnCode, std::to_wstring(code(context.result)));
    context.telemetry.SetValue(TelemetryKey::installerResult, toTelemetryResult(context.result));
}

// Without a failure nobody reads the log, unless it was asked for.
bool recordSuffices(const RunContext& context) {
    return (isSuccess(context.result) || between(context.result, 200, 299)) && !context.forceLogUpload;
}

// Nobody is there to answer in these runs.
bool mayAsk(const Options& options) {
    return !options.quiet() && !options.clean_only.value && !options.r.given && !options.diagnostics_only.value;
}

void offerReboot(RunContext& context, std::wstring_view question) {
    const Options& options = context.cmdLine.options();
    if (!options.reboot_on_need.value && !(mayAsk(options) && askYesNo(question))) return;
    context.flushLog();
    reboot(code(context.result));
}

// What a run leaves on success, nobody takes over any more.
void removeBackup(RunContext& context) {
    if (isSuccess(context.result) && !context.cmdLine->diagnostics_only.value) forgetConfigBackup(context);
}

// Last but for a question, the result code and the wait for Enter.
void printClosingSentence(const RunContext& context) noexcept {
    if (context.cmdLine->quiet() || !hasConsoleWindow()) return;
    try {
        printLine(closingSentence(context));
    } catch (const std::exception& error) {
        logEvent(LogLevel::Error, "ClosingSentenceFailed", {{"ErrorMsg", error.what()}});
    }
}

void finish(RunContext& context) {
    removeWorkingDirectory(context);
    removeBackup(context);
    writeExitCodeFile(context.cmdLine->afterReboot(), static_cast<std::int32_t>(code(context.result)));
    recordResult(context);
    if (requiresReboot(context.result)) {
        ReportPhase(context, InstallationPhaseType::WaitingForReboot, false);
        SendStatusToMgmt(context);
        printClosingSentence(context);
        offerReboot(context, messages::askReboot);
        return;
    }
    ReportPhase(context, InstallationPhaseType::Complete, recordSuffices(context));
    printClosingSentence(context);
    if (context.dynamicMonitoringRebootAdvised) offerReboot(context, messages::askRebootForMonitoring);
}

} // namespace

void finishRun(RunContext& context) noexcept {
    try {
        finish(context);
    } catch (const std::exception& error) {
        logEvent(LogLevel::Error, "FinishRunFailed", {{"ErrorMsg", error.what()}});
    }
}

} // namespace kelvane::bst
