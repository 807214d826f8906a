#include "OstravelInstaller/continuation/RebootContinuation.h"

#include "OstravelInstaller/continuation/ContinuationFolder.h"
#include "OstravelInstallerLib/InstallerProperty.h"
#include "ProductLib/InstallerEvents.h"
#include "libkelvane/FileUtilities.h"
#include "libkelvane/UserLog.h"
#include "libwin32/ComPtr.h"
#include "libwin32/TaskScheduler.h"
#include "libwin32/Text.h"

namespace kelvane::bst {
namespace {

struct TaskPath {
    std::wstring folder;
    std::wstring name;
};

TaskPath continuationTask() {
    constexpr std::wstring_view path = L"Ostravel\\OstravelInstaller";
    const auto separator = path.rfind(L'\\');
    return {std::wstring(path.substr(0, separator)), std::wstring(path.substr(separator + 1))};
}

std::optional<std::string> utf8If(bool present, std::wstring_view value) {
    return present ? std::optional(win32::toUtf8(value)) : std::nullopt;
}

ContinuationArguments argumentsOf(const RunContext& context, PostRebootAction action) {
    const Options& options = context.cmdLine.options();
    ContinuationArguments arguments;
    arguments.action = action;
    arguments.siteToken = context.siteToken().value_or("");
    arguments.installationId = context.installationId;
    arguments.tmd = options.tmd.value;
    if (context.reinstallReason) {
        arguments.reinstallReason = win32::toUtf8(reinstallReasonName(*context.reinstallReason));
    }
    arguments.installerArguments = utf8If(options.installer_arguments.given, options.installer_arguments.value);
    arguments.ppc = options.ppc.value;
    arguments.diagnosticUid = utf8If(!context.diagUid.empty(), context.diagUid);
    arguments.rebootOnNeed = options.reboot_on_need.value;
    arguments.diagnostics = options.diagnostics.value;
    arguments.sendLog = options.send_log.value;
    arguments.dontFailOnConfigPreservingFailures = options.dont_fail_on_config_preserving_failures.value;
    arguments.pmu = options.pmu.value;
    return arguments;
}

void registerTask(const std::filesystem::path& executable, const std::wstring& arguments) {
    logEvent(LogLevel::Verbose, "SchedTask",
             {{"exePath", executable.native()}, {"commandArguments", loggedCommandLine(arguments)}});
    const auto [folder, name] = continuationTask();
    win32::TaskDescription task;
    task.folderPath = folder;
    task.taskName = name;
    task.executablePath = executable.native();
    task.arguments = arguments;
    task.startWhenAvailable = true;
    task.trigger = win32::BootTrigger{};
    const win32::ComInitializer com;
    win32::TaskScheduler().create(task);
}

} // namespace

bool registerContinuation(const RunContext& context, PostRebootAction action) {
    logEvent(LogLevel::Verbose, "ContinueOnNextBoot", {{"PostRebootAction", static_cast<std::uint32_t>(action)}});
    const auto copy = copySelf(context.baseFolder);
    saveTelemetryRecord(copy.parent_path(), context.telemetry);
    try {
        registerTask(copy, continuationCommandLine(argumentsOf(context, action)));
    } catch (const std::exception& error) {
        FileUtilities::deleteDirectoryNoThrow(copy.parent_path());
        logEvent(LogLevel::Error, "ScheduleContinuationOnNextBootFailed");
        userLog(LogLevel::Error, "Failed to create OstravelInstaller's scheduled task.");
        userLog(LogLevel::Error, error.what());
        return false;
    }
    logEvent(LogLevel::Verbose, "ScheduleContinuationOnNextBootSucceeded");
    userLog(LogLevel::Information, "OstravelInstaller will begin running automatically after a reboot.");
    return true;
}

bool isContinuationScheduled() noexcept {
    try {
        const auto [folder, name] = continuationTask();
        const win32::ComInitializer com;
        return win32::TaskScheduler().exists(folder, name);
    } catch (const std::exception& error) {
        logEvent(LogLevel::Error, "CheckSchedTaskExistsFailed");
        return false;
    }
}

void deleteContinuationTask() noexcept {
    if (!isContinuationScheduled()) return;
    try {
        const auto [folder, name] = continuationTask();
        const win32::ComInitializer com;
        win32::TaskScheduler().remove(folder, name);
        logEvent(LogLevel::Verbose, "SchedTaskDeleted");
    } catch (const std::exception& error) {
        logEvent(LogLevel::Error, "DeleteSchedTaskFailed");
    }
}

} // namespace kelvane::bst
