#include "OstravelInstaller/run/RunDriver.h"

#include "OstravelInstaller/context/BaseFolder.h"
#include "OstravelInstaller/context/Messages.h"
#include "OstravelInstaller/context/ProgramVersion.h"
#include "OstravelInstaller/continuation/RebootContinuation.h"
#include "OstravelInstaller/reporting/Log.h"
#include "OstravelInstaller/reporting/LogFiles.h"
#include "OstravelInstaller/run/ContextBuilder.h"
#include "OstravelInstaller/run/Dispatcher.h"
#include "OstravelInstaller/run/FinishRun.h"
#include "OstravelInstaller/run/LastResort.h"
#include "OstravelInstallerLib/CommandLineUtils.h"
#include "OstravelInstallerLib/Console.h"
#include "OstravelInstallerLib/InstallerProperty.h"
#include "OstravelInstallerLib/InstanceMutex.h"
#include "OstravelInstallerLib/Uninterrupted.h"
#include "ProductLib/InstallerEvents.h"
#include "libkelvane/UserLog.h"
#include "libwin32/Win32Error.h"

#include <windows.h>

namespace kelvane::bst {
namespace {

constexpr const wchar_t* boundaryName = L"OstravelInstallerBoundary";
constexpr const wchar_t* mutexName = L"OstravelInstallerMutex";
constexpr DWORD lockWaitMs = 10000;

InstallerResult unexpected(const char* event, TraceFields fields) {
    logEvent(LogLevel::Error, event, fields);
    printLine(messages::unexpectedError);
    return InstallerResult::UnexpectedError;
}

// Fills the context, calls the dispatcher, and turns exceptions into results.
InstallerResult runGuarded(Asked& asked, RunContext& context, const std::optional<ResumedRun>& resumed) {
    const auto failed = [&context](const char* event, const std::exception& error) {
        context.reported.brokenOff = true;
        const InstallerResult result = unexpected(event, {{"ErrorMsg", error.what()}});
        noteUnprinted(error.what());
        return result;
    };
    try {
        buildRunContext(asked, context, resumed);
        if (!asked.cmdLine->quiet()) requireDesktop();
        const Uninterrupted uninterrupted;
        return dispatch(context);
    } catch (const ConsoleEnvironmentError& error) {
        logEvent(LogLevel::Error, "OstravelInstallerEnvironmentError", {{"ErrorMsg", error.what()}});
        noteUnprinted(error.what());
        return InstallerResult::DesktopRequired;
    } catch (const std::runtime_error& error) {
        return failed("RunFailedWithRunTimeError", error);
    } catch (const std::exception& error) {
        return failed("RunFailed", error);
    } catch (...) {
        context.reported.brokenOff = true;
        return unexpected("RunFailed", {});
    }
}

// Of a run that goes on the command line is what the run before it meant. One that is refused would be so at each boot.
bool parse(OstravelInstallerCmdLine& cmdLine, const std::optional<ResumedRun>& resumed) {
    if (!resumed) return cmdLine.parse();
    try {
        if (cmdLine.parseLine(L"OstravelInstaller.exe " + resumed->state.arguments)) return true;
    } catch (const HandledByCommandLineParserError&) {
        logEvent(LogLevel::Verbose, "OstravelInstallerOutputHandlerExecutedInQuietMode");
    }
    giveUp(*resumed);
    return false;
}

InstallerResult parseAndRun(Log& log, const BaseFolder& baseFolder) {
    OstravelInstallerCmdLine cmdLine;
    const auto resumed = resumeContinuation(baseFolder);
    if (!parse(cmdLine, resumed) || hasConsoleWindow()) {
        logEvent(LogLevel::Verbose, "OstravelInstallerOutputHandlerExecuted");
        return InstallerResult::UsageShown;
    }
    forgetEarlierResult(cmdLine.options());
    answerForExitCodeFile(cmdLine->afterReboot());
    if (!cmdLine->quiet()) openConsoleOnDemand();
    Asked asked(cmdLine);
    RunContext context(asked, baseFolder);
    context.carried.logFile = log.path();
    context.carried.flushLog = [&log] { return log.FlushLog(); };
    if (resumed) continueFrom(context, *resumed);
    context.reported.result = runGuarded(asked, context, resumed);
    settleContinuation(context);
    logEvent(LogLevel::Verbose, "OstravelInstallerExitCode", {{"ExitCode", code(context.reported.result)}});
    finishRun(context);
    return context.reported.result;
}

InstallerResult run(Log& log, const BaseFolder& baseFolder) noexcept {
    try {
        return parseAndRun(log, baseFolder);
    } catch (const HandledByCommandLineParserError&) {
        logEvent(LogLevel::Verbose, "OstravelInstallerOutputHandlerExecutedInQuietMode");
        return InstallerResult::UsageShown;
    } catch (const ConsoleEnvironmentError&) {
        logEvent(LogLevel::Error, "OstravelInstallerConsoleEnvironmentError");
        return InstallerResult::DesktopRequired;
    } catch (const std::runtime_error& error) {
        return unexpected("OstravelInstallerFailedWithRunTimeError", {{"ErrorMsg", error.what()}});
    } catch (const std::exception& error) {
        return unexpected("OstravelInstallerFailed", {{"ErrorMsg", error.what()}});
    } catch (...) {
        return unexpected("OstravelInstallerFailed", {});
    }
}

void runUnderLock(Log& log, const BaseFolder& baseFolder, InstallerResult& result) {
    InstanceMutex lock(boundaryName, mutexName);
    if (!lock.wait(lockWaitMs)) {
        logEvent(LogLevel::Verbose, "AnotherInstanceAlreadyRunning");
        result = InstallerResult::AnotherInstance;
        return;
    }
    tidyLogs(baseFolder);
    result = run(log, baseFolder);
    lock.release();
}

} // namespace

InstallerResult runOstravelInstaller() {
    const UserLog userLog;
    const BaseFolder baseFolder;
    Log log(baseFolder);
    const wchar_t* commandLine = GetCommandLineW();
    logEvent(LogLevel::Verbose, "Hello From OstravelInstaller!",
             {{"Version", programVersion}, {"CommandLine", loggedCommandLine(commandLine ? commandLine : L"")}});

    InstallerResult result = InstallerResult::UnexpectedError;
    try {
        runUnderLock(log, baseFolder, result);
    } catch (const win32::Win32Error& error) {
        logEvent(LogLevel::Error, "runOstravelInstaller", {{"Value", error.code()}, {"What", error.what()}});
        printLine(messages::unexpectedError);
    } catch (...) {
        logEvent(LogLevel::Error, "runOstravelInstaller", {{"What", "UnknownException"}});
        printLine(messages::unexpectedError);
    }
    logEvent(LogLevel::Verbose, "OstravelInstaller Done", {{"ExitCode", code(result)}});
    return result;
}

} // namespace kelvane::bst
