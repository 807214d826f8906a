#pragma once

#include "OstravelPack/payload/Payload.h"

#include <filesystem>
#include <string>
#include <string_view>

namespace kelvane::pack {

// UTF-8 on standard output; a console shows it as what it is.
void print(std::string_view line);
// The path as the user gave it, or as it reads without the prefix for long ones.
std::string shown(const std::filesystem::path& path);

// The whole of an installer. Throws Refusal, which names it, when it cannot be read.
std::string contentOf(const std::filesystem::path& installer);

// The file's name, version, size and SHA-256, and what its payload consists of.
void printInstaller(const std::filesystem::path& place, const kelvane::AgentVersion& version, const std::string& file);
void printPayload(const Payload& payload);

} // namespace kelvane::pack
