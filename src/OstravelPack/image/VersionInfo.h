#pragma once

#include "libkelvane/AgentVersion.h"

#include <string>
#include <string_view>

namespace kelvane::pack {

// The content of a version resource with this version as file version and product version, in numbers and in texts.
// Throws Refusal when the resource is damaged.
std::string withVersion(std::string_view resource, const kelvane::AgentVersion& version);

// Its file version. Throws Refusal.
kelvane::AgentVersion fileVersionOf(std::string_view resource);

} // namespace kelvane::pack
