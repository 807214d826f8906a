#include "OstravelPack/payload/PackedInstaller.h"

#include "OstravelPack/image/Bytes.h"
#include "OstravelPack/image/VersionInfo.h"

#include <utility>

namespace kelvane::pack {
namespace {

// RT_RCDATA, RT_VERSION, and the numbers of the one resource of each.
constexpr WORD rawData = 10;
constexpr WORD versionResource = 16;
constexpr WORD payloadNumber = 102;
constexpr WORD versionNumber = VS_VERSION_INFO;

} // namespace

PackedInstaller::PackedInstaller(std::string file)
    : image_(std::move(file)), resources_(readResources(image_.resources(), image_.resourceAddress())) {
    versionInfo();
}

const std::string& PackedInstaller::versionInfo() const {
    const auto* info = findResource(resources_, versionResource, versionNumber);
    if (!info) throw Refusal("it has no version resource");
    return *info;
}

kelvane::AgentVersion PackedInstaller::version() const { return fileVersionOf(versionInfo()); }

const std::string* PackedInstaller::archive() const { return findResource(resources_, rawData, payloadNumber); }

void PackedInstaller::pack(std::string archive, const kelvane::AgentVersion& version) {
    if (image_.isSigned()) {
        throw Refusal("it is signed, and packing would break that: pack the unsigned one, then sign what is packed");
    }
    putResource(resources_, rawData, payloadNumber, std::move(archive));
    putResource(resources_, versionResource, versionNumber, withVersion(versionInfo(), version));
    image_.replaceResources(writeResources(resources_, image_.resourceAddress()));
}

} // namespace kelvane::pack
