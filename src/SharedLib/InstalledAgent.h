#pragma once

#include "libkelvane/AgentVersion.h"

#include <filesystem>
#include <optional>
#include <string_view>

namespace kelvane {

// What discovery found out about the agent on this machine.
struct InstalledAgentInfo {
    AgentVersion version;
    bool versionFound = false;
    std::optional<std::filesystem::path> configDir; // one that passed validConfigDir
};

// Tries the sources in their order and stops at the first that yields a version. Never throws: a source that fails is logged
// and passed over.
InstalledAgentInfo findInstalledAgent() noexcept;

// The version in a path like C:\Program Files\Ostravel\Kelvane Agent 1.2.3.4\... or ...\Ostravel\1.2.3.4\...
std::optional<AgentVersion> versionFromAgentPath(std::wstring_view path);
// The "config" folder beside the file, or in the folder, that the path names. Throws filesystem_error "status".
std::filesystem::path configDirFromAgentPath(const std::filesystem::path& path);
// The path itself when it is a directory that holds one of the agent's configuration files.
std::optional<std::filesystem::path> validConfigDir(const std::filesystem::path& path);

// Whether Windows Installer knows any product related to the agent's upgrade code. Never throws.
bool anyRelatedProduct() noexcept;
// Whether the service control manager knows the agent's service. Never throws.
bool agentServiceExists() noexcept;

} // namespace kelvane
