#pragma once

#include "OstravelInstaller/context/BaseFolder.h"

#include <exception>
#include <filesystem>
#include <string>

// The boot task "Ostravel\OstravelInstaller". Ours runs as local system and starts a copy of the installer that exists
// in a continuation folder; whatever else has that name was made by somebody else, or has lost its copy.
namespace kelvane::bst {

enum class TaskAnswer { None, Ours, Unknown };
struct FoundTask {
    TaskAnswer answer = TaskAnswer::Unknown;
    std::filesystem::path folder{}; // the copy's, when the task is ours
};

// Asks the task service. A task that is not ours is logged, removed, and counts as none; Unknown: the service cannot
// answer (logged with the call and its HRESULT).
FoundTask findContinuationTask(const BaseFolder& baseFolder) noexcept;

// Creates or changes the task. Throws Win32Error as TaskScheduler::create.
void registerContinuationTask(const std::filesystem::path& executable, const std::wstring& arguments);

// Whether the task is gone for certain. A failure is logged with the call and its HRESULT.
bool deleteContinuationTask() noexcept;

// The event of a failed call of the task service.
void logTaskFailure(const char* event, const std::exception& error) noexcept;

} // namespace kelvane::bst
