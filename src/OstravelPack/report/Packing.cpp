#include "OstravelPack/report/Packing.h"

#include "OstravelPack/image/Bytes.h"
#include "OstravelPack/payload/PackedInstaller.h"
#include "OstravelPack/payload/Payload.h"
#include "OstravelPack/report/Output.h"
#include "libkelvane/FileUtilities.h"
#include "libwin32/Text.h"
#include "libwin32/Win32Error.h"

#include <windows.h>

#include <format>

namespace kelvane::pack {
namespace {

namespace files = kelvane::FileUtilities;

constexpr std::uint64_t mostBytes = 0x7FFF0000;

Payload wholePayload(const std::filesystem::path& folder) {
    std::vector<std::string> problems;
    auto payload = readPayload(folder, problems);
    for (const auto& problem : problems)
        print(std::format("error: the payload folder {} {}", shown(folder), problem));
    if (!problems.empty()) throw Refusal("nothing was packed");
    return payload;
}

PackedInstaller readInstaller(const std::filesystem::path& place) {
    if (!files::exists(place)) throw Refusal(std::format("the installer {} does not exist", shown(place)));
    return PackedInstaller(files::readFile(place, mostBytes));
}

// Whole or not at all.
void writeWhole(const std::filesystem::path& place, const std::string& content) {
    auto partial = place;
    partial += L".partial";
    try {
        files::writeFile(partial, content);
        files::moveFileWithCallback(partial, place, {}, MOVEFILE_REPLACE_EXISTING);
    } catch (...) {
        DeleteFileW(partial.c_str());
        throw;
    }
}

bool isSameFile(const std::filesystem::path& one, const std::filesystem::path& other) {
    return CompareStringOrdinal(one.c_str(), -1, other.c_str(), -1, TRUE) == CSTR_EQUAL;
}

PackedInstaller packInto(const std::filesystem::path& place, std::string archive,
                         const kelvane::AgentVersion& version) {
    try {
        auto installer = readInstaller(place);
        installer.pack(std::move(archive), version);
        return installer;
    } catch (const Refusal& why) {
        throw Refusal(std::format("{} cannot be packed: {}", shown(place), why.what()));
    }
}

} // namespace

void pack(const CommandLine& line) {
    if (isSameFile(line.installer, line.out)) throw Refusal("--out names the installer that is to be packed");
    auto payload = wholePayload(line.payload);
    auto archive = zipArchive(payload.files);
    const auto installer = packInto(line.installer, std::move(archive), line.version.value_or(payload.version));
    writeWhole(line.out, installer.image().file());
    printPayload(payload);
    printInstaller(line.out, installer.version(), installer.image().file());
}

} // namespace kelvane::pack
