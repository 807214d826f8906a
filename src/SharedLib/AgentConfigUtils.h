#pragma once

#include "SharedLib/InstalledAgent.h"

#include <filesystem>
#include <optional>
#include <string>

// What the installer reads of an installed agent's configuration directory. The files are never written. Texts are
// UTF-8, without control characters. Readers throw std::exceptions (JsonUtils) for a file or member that is missing or
// unfit, unless they say otherwise.
namespace kelvane {

// Never empty, and fit for an unquoted property.
std::string readAgentUid(const std::filesystem::path& configDir);
// Whether the agent runs on a virtual-desktop image.
bool readIsVdi(const std::filesystem::path& configDir);

struct ManagementSettings {
    std::string mgmtServer;
    std::string site;
};
ManagementSettings readManagementSettings(const std::filesystem::path& configDir);
// The agent's proxy setting, empty where the file has none; none for an agent without site or with a placeholder for
// its server.
std::optional<std::string> readProxy(const std::filesystem::path& configDir);
// The site's enrolment key, opaque.
std::string readSiteKey(const std::filesystem::path& configDir);
// Whether the agent runs under the Unified Write Filter; a missing file or member means no.
bool readUwfMode(const std::filesystem::path& configDir);

// Whether the agent found is at work: its service runs and its configuration directory is still valid. Throws when that
// cannot be found out, after asking again (askPatiently).
bool agentReady(const InstalledAgentInfo& agent);

} // namespace kelvane
