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
#include <utility>

namespace kelvane::pack {
namespace {

namespace files = kelvane::FileUtilities;

Payload wholePayload(const std::filesystem::path& folder) {
    std::vector<std::string> problems;
    auto payload = readPayload(folder, problems);
    for (const auto& problem : problems)
        print(std::format("error: the payload folder {} {}", shown(folder), problem));
    if (!problems.empty()) throw Refusal("nothing was packed");
    return payload;
}

// Whole or not at all.
void writeWhole(const std::filesystem::path& place, const std::string& content) {
    auto partial = place;
    partial += L".partial";
    try {
        files::writeFile(partial, content);
        files::moveFileWithCallback(partial, place, {}, MOVEFILE_REPLACE_EXISTING);
    } catch (const win32::Win32Error& why) {
        DeleteFileW(partial.c_str());
        throw Refusal(std::format("{} cannot be written: {}", shown(place), win32::systemErrorText(why.code())));
    }
}

bool isSamePath(const std::filesystem::path& one, const std::filesystem::path& other) {
    return CompareStringOrdinal(one.c_str(), -1, other.c_str(), -1, TRUE) == CSTR_EQUAL;
}

void checkPlaces(const CommandLine& line) {
    if (isSamePath(line.installer, line.out)) throw Refusal("--out names the installer that is to be packed");
    // The next packing would find it there.
    const auto folder = (line.payload / L"").parent_path(); // however it was written
    if (isSamePath(folder, line.out.parent_path())) throw Refusal("--out lies in the payload folder");
}

PackedInstaller packInto(const std::filesystem::path& place, std::string archive,
                         const kelvane::AgentVersion& version) {
    auto file = contentOf(place);
    try {
        PackedInstaller installer(std::move(file));
        installer.pack(std::move(archive), version);
        return installer;
    } catch (const Refusal& why) {
        throw Refusal(std::format("{} cannot be packed: {}", shown(place), why.what()));
    }
}

} // namespace

void pack(const CommandLine& line) {
    checkPlaces(line);
    auto payload = wholePayload(line.payload);
    auto archive = zipArchive(payload.files);
    const auto installer = packInto(line.installer, std::move(archive), line.version.value_or(payload.version));
    writeWhole(line.out, installer.image().file());
    printPayload(payload);
    printInstaller(line.out, installer.version(), installer.image().file());
}

} // namespace kelvane::pack
