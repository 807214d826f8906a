#pragma once

#include "libwin32/ComPtr.h"

#include <taskschd.h>

#include <chrono>
#include <optional>
#include <string>
#include <variant>

namespace win32 {

struct NoTrigger {};
struct BootTrigger {};
struct TimeTrigger {
    std::chrono::system_clock::time_point start;
};

struct TaskDescription {
    std::wstring folderPath; // levels separated by backslashes; missing ones are created
    std::wstring taskName;
    std::wstring executablePath;
    std::wstring arguments;
    bool startWhenAvailable = false;
    bool allowDemandStart = false;
    bool disallowStartOnBatteries = false;
    bool stopIfGoingOnBatteries = false;
    std::variant<NoTrigger, BootTrigger, TimeTrigger> trigger;
};

// What a registered task runs, as the service gives it back.
struct RegisteredTask {
    std::wstring userId;         // a SID in text form, or an account's name
    std::wstring executablePath; // empty for a task that does anything but start one program
};

// The local Task Scheduler 2.0 service. The calling thread must have initialised COM. Every failure is a Win32Error
// whose call() is a message and whose code() is the HRESULT.
class TaskScheduler {
public:
    // Throws "Could not connect to the task service".
    TaskScheduler();

    // Creates or updates a task that runs as the local system account with the highest run level. The task and its
    // folder, be it an existing one, can be used and changed by Administrators and SYSTEM only.
    void create(const TaskDescription& description) const;
    // The task, if there is one. Throws "Cannot get task folder", "Could not get task NAME".
    std::optional<RegisteredTask> find(const std::wstring& folderPath, const std::wstring& taskName) const;
    // A task that is not there is no failure. Throws "Could not delete task".
    void remove(const std::wstring& folderPath, const std::wstring& taskName) const;

private:
    ComPtr<ITaskFolder> getOrCreateFolder(const std::wstring& path, unsigned depth) const;

    ComPtr<ITaskService> service_;
};

} // namespace win32
