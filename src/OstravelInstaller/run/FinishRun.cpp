#include "OstravelInstaller/run/FinishRun.h"

#include "OstravelInstaller/context/Messages.h"
#include "OstravelInstaller/continuation/ExitCodeFile.h"
#include "OstravelInstaller/continuation/Reboot.h"
#include "OstravelInstaller/flows/PreserveConfiguration.h"
#include "OstravelInstaller/flows/Progress.h"
#include "OstravelInstaller/run/ClosingSentence.h"
#include "OstravelInstallerLib/Console.h"
#include "ProductLib/InstallerEvents.h"
#include "libkelvane/FileUtilities.h"

namespace kelvane::bst {
namespace {

void removeWorkingDirectory(Carried& carried) {
    carried.payload.clear();
    if (!carried.tempDirCreated || carried.tempDirIsFallback) return;
    FileUtilities::deleteDirectoryNoThrow(carried.tempDir);
    // Somebody else may make a directory of that name from now on.
    carried.tempDir.clear();
}

void recordResult(TelemetryMetaData& record, InstallerResult result) {
    // The record of a run before a reboot may have brought an earlier error.
    if (code(result) >= 1000) record.SetValueUtf8(TelemetryKey::errorString, lastWord());
    record.SetValue(TelemetryKey::installerReturnCode, std::to_wstring(code(result)));
    record.SetValue(TelemetryKey::installerResult, toTelemetryResult(result));
}

// Without a failure nobody reads the log, unless it was asked for.
bool recordSuffices(const Reported& reported) {
    return (isSuccess(reported.result) || between(reported.result, 200, 299)) && !reported.forceLogUpload;
}

// Nobody is there to answer in these runs.
bool mayAsk(const Options& options) {
    return !options.quiet() && !options.clean_only.value && !options.r.given && !options.diagnostics_only.value;
}

void offerReboot(const RunContext& context, std::wstring_view question) {
    const Options& options = context.asked.cmdLine.options();
    if (!options.reboot_on_need.value && !(mayAsk(options) && askYesNo(question))) return;
    context.carried.flushLog();
    reboot(code(context.reported.result));
}

// What a run leaves on success, nobody takes over any more.
void removeBackup(RunContext& context) {
    const bool done = isSuccess(context.reported.result) && !context.asked.cmdLine->diagnostics_only.value;
    if (done) forgetConfigBackup(context.carried);
}

// Last but for a question, the result code and the wait for Enter.
void printClosingSentence(const RunContext& context) noexcept {
    if (context.asked.cmdLine->quiet() || !hasConsoleWindow()) return;
    try {
        printLine(closingSentence(context.reported, context.continuation));
    } catch (const std::exception& error) {
        logEvent(LogLevel::Error, "ClosingSentenceFailed", {{"ErrorMsg", error.what()}});
    }
}

void finish(RunContext& context) {
    Reported& reported = context.reported;
    removeWorkingDirectory(context.carried);
    removeBackup(context);
    writeExitCodeFile(context.asked.cmdLine->afterReboot(), static_cast<std::int32_t>(code(reported.result)));
    recordResult(reported.telemetry, reported.result);
    if (requiresReboot(reported.result)) {
        ReportPhase(reported.telemetry, reportSource(context), InstallationPhaseType::WaitingForReboot, false);
        SendStatusToMgmt(reported.telemetry, reportSource(context));
        printClosingSentence(context);
        offerReboot(context, messages::askReboot);
        return;
    }
    ReportPhase(reported.telemetry, reportSource(context), InstallationPhaseType::Complete, recordSuffices(reported));
    printClosingSentence(context);
    if (reported.dynamicMonitoringRebootAdvised) offerReboot(context, messages::askRebootForMonitoring);
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
