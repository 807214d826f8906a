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
    std::optional<std::filesystem::path> configDir;         // one that passed validConfigDir
    std::optional<std::filesystem::path> unjudgedConfigDir; // one of which that could not be found out
};

// Tries the sources in their order and stops at the first that yields a version. Never throws: a source that fails is
// logged and passed over.
InstalledAgentInfo findInstalledAgent() noexcept;

// Whether Windows Installer knows any product related to the agent's upgrade code, or the service control manager the
// agent's service. Throws when neither says yes and one cannot say, after asking again (askPatiently).
bool agentRegistered();
// Whether an agent is there: found by any source, the left-over folders apart, or agentRegistered. Throws as that.
bool agentStillInstalled();

} // namespace kelvane
