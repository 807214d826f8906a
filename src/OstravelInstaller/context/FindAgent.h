#pragma once

#include "SharedLib/AgentConfigUtils.h"
#include "SharedLib/InstalledAgent.h"

#include <optional>
#include <string>
#include <string_view>

namespace kelvane::bst {

// What was found of the installed agent. A run that goes on has what the one before it found in its place.
struct Found {
    InstalledAgentInfo agent{};
    std::optional<std::string> siteToken{}; // its enrolment token, opaque; else --fallback_site_token
    std::optional<std::string> agentUid{};
    std::optional<ManagementSettings> managementSettings{};
    std::optional<std::string> proxy{};
    bool isVdi = false;
};

// Looks for the installed agent and reads what its configuration files say; also anew, after an installation. The
// token stands in where the agent has none; an empty one is none.
Found findAgent(std::wstring_view fallbackSiteToken);

} // namespace kelvane::bst
