#pragma once

#include "OstravelPack/image/PeImage.h"
#include "OstravelPack/image/Resources.h"
#include "libkelvane/AgentVersion.h"

#include <string>
#include <vector>

namespace kelvane::pack {

// The installer, with its resources taken apart.
class PackedInstaller {
public:
    // Throws Refusal when the file is no installer.
    explicit PackedInstaller(std::string file);

    const PeImage& image() const { return image_; }
    kelvane::AgentVersion version() const;
    // The archive of the payload; nullptr in an installer that has none yet.
    const std::string* archive() const;

    // Puts this archive into it, and this version. Throws Refusal when it is signed.
    void pack(std::string archive, const kelvane::AgentVersion& version);

private:
    const std::string& versionInfo() const;

    PeImage image_;
    std::vector<Resource> resources_;
};

} // namespace kelvane::pack
