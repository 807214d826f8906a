#include "OstravelInstaller/continuation/ContinuationTask.h"

#include "OstravelInstaller/continuation/ContinuationFolder.h"
#include "OstravelInstallerLib/InstallerProperty.h"
#include "ProductLib/InstallerEvents.h"
#include "libkelvane/FileUtilities.h"
#include "libwin32/Accounts.h"
#include "libwin32/ComPtr.h"
#include "libwin32/TaskScheduler.h"
#include "libwin32/Win32Error.h"

#include <optional>

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

std::optional<win32::RegisteredTask> askService() {
    const auto [folder, name] = continuationTask();
    const win32::ComInitializer com;
    return win32::TaskScheduler().find(folder, name);
}

bool isOurs(const BaseFolder& baseFolder, const win32::RegisteredTask& task) {
    const std::filesystem::path executable = task.executablePath;
    return isContinuationFolder(baseFolder, executable.parent_path()) && FileUtilities::exists(executable) &&
           win32::isLocalSystem(task.userId);
}

} // namespace

void logTaskFailure(const char* event, const std::exception& error) noexcept {
    const auto* call = dynamic_cast<const win32::Win32Error*>(&error);
    logEvent(LogLevel::Error, event,
             {{"Call", call ? call->call().c_str() : ""},
              {"HResult", call ? call->code() : 0U},
              {"ErrorMsg", error.what()}});
}

FoundTask findContinuationTask(const BaseFolder& baseFolder) noexcept {
    try {
        const auto task = askService();
        if (!task) return {TaskAnswer::None};
        if (isOurs(baseFolder, *task)) {
            return {TaskAnswer::Ours, std::filesystem::path(task->executablePath).parent_path()};
        }
        logEvent(LogLevel::Error, "ForeignSchedTaskFound",
                 {{"UserId", task->userId}, {"exePath", task->executablePath}});
        deleteContinuationTask();
        return {TaskAnswer::None};
    } catch (const std::exception& error) {
        logTaskFailure("CheckSchedTaskExistsFailed", error);
        return {TaskAnswer::Unknown};
    }
}

void registerContinuationTask(const std::filesystem::path& executable, const std::wstring& arguments) {
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

bool deleteContinuationTask() noexcept {
    try {
        const auto [folder, name] = continuationTask();
        const win32::ComInitializer com;
        win32::TaskScheduler().remove(folder, name);
        logEvent(LogLevel::Verbose, "SchedTaskDeleted");
        return true;
    } catch (const std::exception& error) {
        logTaskFailure("DeleteSchedTaskFailed", error);
        return false;
    }
}

} // namespace kelvane::bst
