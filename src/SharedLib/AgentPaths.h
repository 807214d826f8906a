#pragma once

#include "libkelvane/AgentVersion.h"

#include <filesystem>
#include <optional>
#include <string_view>

// What the agent's folders tell by their names and content.
namespace kelvane {

// The version in a path like C:\Program Files\Ostravel\Kelvane Agent 1.2.3.4\... or ...\Ostravel\1.2.3.4\...; the first
// form wins. A number above 65535 gives none.
std::optional<AgentVersion> versionFromAgentPath(std::wstring_view path);
// The "config" folder beside the file, or in the folder, that the path names. Throws filesystem_error "status".
std::filesystem::path configDirFromAgentPath(const std::filesystem::path& path);
// The path itself when it is a directory that holds one of the agent's configuration files.
// Throws filesystem_error "status", "exists".
std::optional<std::filesystem::path> validConfigDir(const std::filesystem::path& path);

// Whether the path leads into Program Files, where only administrators and the system write. Throws Win32Error.
bool isBelowProgramFiles(const std::filesystem::path& path);

// The program's path in a service's ImagePath: without quotes, arguments and kernel prefixes, environment variables
// replaced. Throws Win32Error.
std::filesystem::path programOfImagePath(std::wstring_view imagePath);

} // namespace kelvane
