#pragma once

#include "OstravelInstaller/context/BaseFolder.h"

#include <filesystem>

// The .etl files of runs.
namespace kelvane::bst {

// A new, empty file for administrators only, named by the local time; when that name is taken, by the next second that
// is free. Throws Win32Error "createLogFile".
std::filesystem::path createLogFile(const std::filesystem::path& directory);

// Deletes a log that nothing was recorded into.
void removeEmptyLog(const std::filesystem::path& log) noexcept;

// What earlier runs left: stops the trace sessions of runs that are dead, and removes all logs in the base folder but
// the newest ten. To be called by the run that holds the instance lock.
void tidyLogs(const BaseFolder& baseFolder) noexcept;

} // namespace kelvane::bst
