#pragma once

#include "OstravelPack/payload/ZipArchive.h"
#include "libkelvane/AgentVersion.h"

#include <filesystem>
#include <string>
#include <vector>

namespace kelvane::pack {

// A folder's content as the installer carries it, in the order of the archive.
struct Payload {
    kelvane::AgentVersion version; // of the agent, from VERSION
    std::vector<PayloadFile> files;
};

// Reads the folder and looks at every file of it. What is wrong with it comes back in `problems`, one clause each,
// whose subject is the folder ("lacks VERSION"); the payload is whole when there are none. Throws Win32Error for what
// cannot be read.
Payload readPayload(const std::filesystem::path& folder, std::vector<std::string>& problems);

} // namespace kelvane::pack
