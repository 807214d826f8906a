#pragma once

#include <filesystem>
#include <optional>

namespace kelvane {

// %windir%\Temp\KelvaneConfig: the configuration that a new installation takes over.
std::filesystem::path configBackupDirectory();

// Copies the whole configuration directory there, into a folder made anew that only administrators and the system can
// use. Links are not followed. False when there is no complete backup though there was something to back up; the reason
// is logged, and what was copied is removed. Never throws.
bool backupConfigDir(const std::optional<std::filesystem::path>& configDir) noexcept;

// Removes the backup of an earlier run, if there is one. Never throws.
void removeConfigBackup() noexcept;

} // namespace kelvane
