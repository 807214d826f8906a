#pragma once

#include "SharedLib/AgentPaths.h"
#include "libkelvane/AgentVersion.h"

#include <filesystem>
#include <optional>

namespace kelvane {

// What discovery found out about the agent on this machine.
struct InstalledAgentInfo {
    AgentVersion version;
    bool versionFound = false;
    std::optional<std::filesystem::path> configDir; // one that passed validConfigDir
};

// Tries the sources in their order and stops at the first that yields a version. Never throws: a source that fails is
// logged and passed over.
InstalledAgentInfo findInstalledAgent() noexcept;

// Whether Windows Installer knows any product related to the agent's upgrade code. Never throws.
bool anyRelatedProduct() noexcept;
// Whether the service control manager knows the agent's service. Never throws.
bool agentServiceExists() noexcept;
// Whether an agent is there: found by any source, the left-over folders apart, or by one of the two probes above.
// Never throws.
bool agentStillInstalled() noexcept;

} // namespace kelvane
