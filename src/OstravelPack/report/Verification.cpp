#include "OstravelPack/report/Verification.h"

#include "OstravelPack/image/Bytes.h"
#include "OstravelPack/payload/PackedInstaller.h"
#include "OstravelPack/payload/Payload.h"
#include "OstravelPack/report/Output.h"
#include "libkelvane/Authenticode.h"
#include "libkelvane/FileUtilities.h"
#include "libkelvane/Guid.h"
#include "libkelvane/PathUtils.h"
#include "libkelvane/ZipFile.h"
#include "libwin32/Handles.h"
#include "libwin32/Text.h"
#include "libwin32/Win32Error.h"

#include <windows.h>

#include <algorithm>
#include <format>
#include <utility>

namespace kelvane::pack {
namespace {

namespace files = kelvane::FileUtilities;

// A folder of this run's own in the user's place for such, removed with the object.
class ScratchFolder {
public:
    ScratchFolder() : path_(kelvane::PathUtils::expandEnvironment(L"%TEMP%\\OstravelPack_") + kelvane::newGuid()) {
        files::createDirectories(path_);
    }
    ~ScratchFolder() { files::deleteDirectoryNoThrow(path_); }
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    const std::filesystem::path& path() const { return path_; }

private:
    std::filesystem::path path_;
};

// As the installer itself unpacks it; each entry that it would pass over is missing afterwards.
Payload unpacked(const std::string& archive, std::vector<std::string>& problems) {
    const ScratchFolder scratch;
    const auto zip = scratch.path() / L"payload.zip";
    const auto content = scratch.path() / L"content";
    files::writeFile(zip, archive);
    const win32::UniqueHandle file(CreateFileW(zip.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                               FILE_ATTRIBUTE_NORMAL, nullptr));
    win32::check(bool(file), "CreateFileW");
    kelvane::ZipFile reader(file.get());
    files::createDirectories(content);
    const bool complete = reader.extractAll(content);
    auto payload = readPayload(content, problems);
    if (!complete || payload.files.size() != reader.entryCount()) problems.emplace_back("has damaged entries");
    return payload;
}

Payload wholePayload(const PackedInstaller& installer) {
    if (!installer.archive()) throw Refusal("it has no payload");
    std::vector<std::string> problems;
    const auto payload = unpacked(*installer.archive(), problems);
    for (const auto& problem : problems)
        print(std::format("error: the payload {}", problem));
    if (!problems.empty()) throw Refusal("its payload is not whole");
    return payload;
}

// Reasons that lie in the certificates, and with this machine, rather than in the file.
bool isMatterOfTrust(std::uint32_t verdict) { return verdict >= 0x800B0101 && verdict <= 0x800B01FF; }

bool printSignature(const PackedInstaller& installer, const std::filesystem::path& place) {
    if (!installer.image().isSigned()) {
        print("signature: none");
        return true;
    }
    const auto signature = kelvane::authenticode::signatureOf(place);
    const auto signer = win32::toUtf8(signature.signer);
    if (signature.verdict == ERROR_SUCCESS) {
        print(std::format("signature: {}, trusted here", signer));
        return true;
    }
    const auto reason = std::format("{:#x}: {}", signature.verdict, win32::systemErrorText(signature.verdict));
    if (!isMatterOfTrust(signature.verdict)) throw Refusal(std::format("its signature is broken ({})", reason));
    print(std::format("signature: {}, not trusted here ({})", signer, reason));
    return false;
}

bool verifyWhole(const std::filesystem::path& place, std::string file) {
    const PackedInstaller installer(std::move(file));
    if (!installer.image().hasRightChecksum()) throw Refusal("the checksum in its headers is not that of the file");
    printPayload(wholePayload(installer));
    printInstaller(place, installer.version(), installer.image().file());
    return printSignature(installer, place);
}

} // namespace

bool verify(const std::filesystem::path& installer) {
    auto file = contentOf(installer);
    try {
        return verifyWhole(installer, std::move(file));
    } catch (const Refusal& why) {
        throw Refusal(std::format("{} is not as it was packed: {}", shown(installer), why.what()));
    } catch (const std::logic_error&) { // of the reader of archives
        throw Refusal(std::format("{} is not as it was packed: its payload is no archive", shown(installer)));
    }
}

} // namespace kelvane::pack
