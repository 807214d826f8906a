#include "OstravelPack/report/Output.h"

#include "OstravelPack/image/Bytes.h"
#include "libkelvane/FileUtilities.h"
#include "libkelvane/PathUtils.h"
#include "libkelvane/hash/wincrypt.h"
#include "libwin32/Text.h"
#include "libwin32/Win32Error.h"

#include <windows.h>

#include <cstdint>
#include <cstdio>
#include <format>

namespace kelvane::pack {

namespace {

constexpr std::uint64_t mostBytes = 0x7FFFFFFF;

// Nothing for a file that was unpacked.
std::string howPacked(const PayloadFile& file) {
    if (file.packedSize == 0) return {};
    return file.packedSize < file.content.size() ? std::format(", deflated to {}", file.packedSize) : ", stored";
}

} // namespace

void print(std::string_view line) {
    static const bool prepared = SetConsoleOutputCP(CP_UTF8);
    static_cast<void>(prepared);
    std::fwrite(line.data(), 1, line.size(), stdout);
    std::fputc('\n', stdout);
    std::fflush(stdout);
}

std::string shown(const std::filesystem::path& path) {
    return win32::toUtf8(kelvane::PathUtils::withoutLongPrefix(path).native());
}

std::string contentOf(const std::filesystem::path& installer) {
    try {
        return kelvane::FileUtilities::readFile(installer, mostBytes);
    } catch (const win32::Win32Error& why) {
        throw Refusal(std::format("{} cannot be read: {}", shown(installer), win32::systemErrorText(why.code())));
    }
}

void printInstaller(const std::filesystem::path& place, const kelvane::AgentVersion& version, const std::string& file) {
    print(std::format("{}: version {}, {} bytes", shown(place), win32::toUtf8(version.str()), file.size()));
    print(std::format("SHA-256: {}", win32::toUtf8(kelvane::hash::sha256OfBytes(file))));
}

void printPayload(const Payload& payload) {
    print(std::format("payload: agent {}", win32::toUtf8(payload.version.str())));
    for (const auto& file : payload.files) {
        const auto hash = win32::toUtf8(kelvane::hash::sha256OfBytes(file.content));
        print(std::format("  {}  {:>11} bytes  {}{}", hash, file.content.size(), file.name, howPacked(file)));
    }
}

} // namespace kelvane::pack
