#pragma once

#include "libwin32/Handles.h"

#include <filesystem>
#include <optional>

namespace kelvane {

// %windir%\Temp\KelvaneConfig: the configuration that a new installation takes over.
std::filesystem::path configBackupDirectory();

// Copies the whole configuration directory there, into a folder made anew that only administrators and the system can
// use, and that nobody removes while the handle is open. Links are not followed. An empty handle when there was nothing
// to back up; nothing when there is no complete backup: the reason is logged, and what was copied is removed. Never
// throws.
std::optional<win32::UniqueHandle> backupConfigDir(const std::optional<std::filesystem::path>& configDir) noexcept;

// Holds the backup that an earlier run of this program made. Empty, logged, when it is gone, or when somebody else
// could have changed it. Never throws.
win32::UniqueHandle holdConfigBackup() noexcept;

// Removes what is there in the backup's place, if anything. Never throws.
void removeConfigBackup() noexcept;

} // namespace kelvane
