#include "OstravelPack/payload/Payload.h"

#include "OstravelPack/image/Bytes.h"
#include "OstravelPack/image/PeImage.h"
#include "OstravelPack/payload/PackageFacts.h"
#include "ProductLib/AgentProduct.h"
#include "libkelvane/FileUtilities.h"
#include "libwin32/Text.h"
#include "libwin32/Win32Error.h"

#include <windows.h>

#include <algorithm>
#include <format>
#include <optional>
#include <string_view>

namespace kelvane::pack {
namespace {

using kelvane::AgentVersion;
namespace files = kelvane::FileUtilities;

constexpr std::uint64_t mostFileBytes = 0x7FF00000;

// One file while it is looked at, and the version that it should agree with.
struct Candidate {
    const std::filesystem::path& path;
    const std::string& content;
    std::optional<AgentVersion> version;
};

void checkProgram(const Candidate& file) { static_cast<void>(PeImage(file.content)); }

// A setup program of any kind may be a 32-bit one.
void checkSetup(const Candidate& file) {
    if (!file.content.starts_with("MZ")) throw Refusal("it is no program");
}

void checkVersionFile(const Candidate& file) {
    if (!file.version)
        throw Refusal("it is not four dotted numbers alone (each at most 65535, no line end, no byte order mark)");
}

// Windows Installer reads three parts of a version and lets packages state the fourth.
void checkPackage(const Candidate& file) {
    const auto facts = readPackage(file.path);
    const auto product = kelvane::parseShortAgentVersion(facts.productVersion);
    const bool hasFour = std::ranges::count(facts.productVersion, L'.') == 3;
    auto expected = file.version.value_or(AgentVersion{});
    if (!hasFour) expected.revision = 0;
    if (file.version && product != expected) {
        throw Refusal(std::format("its ProductVersion is \"{}\", VERSION says {}", win32::toUtf8(facts.productVersion),
                                  win32::toUtf8(file.version->str())));
    }
    if (!win32::equalsIgnoringAsciiCase(facts.upgradeCode, kelvane::agentUpgradeCode)) {
        throw Refusal(std::format("its UpgradeCode is \"{}\", the agent's is {}", win32::toUtf8(facts.upgradeCode),
                                  win32::toUtf8(kelvane::agentUpgradeCode)));
    }
}

// What a payload consists of, in the order of the archive. One name stands for one file, by its ending where it begins
// with a point. VERSION is stored, as those who read the archive without unpacking it expect.
struct Part {
    std::wstring_view name;
    std::string_view missing; // what is said when there is none; nothing where there need not be one
    bool stored;
    void (*check)(const Candidate&);
};
constexpr std::string_view noInstaller = "lacks an installer: KelvaneInstaller.msi or KelvaneInstaller.exe";
constexpr Part parts[] = {
    {L"KelvaneCleaner.exe", "lacks KelvaneCleaner.exe", false, &checkProgram},
    {L"KelvaneInstaller.exe", "", false, &checkSetup},
    {L"KelvaneInstaller.msi", "", false, &checkPackage},
    {L".sys", "lacks the removal driver, a file NAME.sys (in ASCII, no blanks)", false, &checkProgram},
    {L"VERSION", "lacks VERSION", true, &checkVersionFile},
};

bool isAscii(std::wstring_view name) {
    return std::ranges::all_of(name, [](wchar_t character) { return character > L' ' && character < 0x7F; });
}

bool isNamed(const Part& part, std::wstring_view name) {
    const bool byEnding = part.name.starts_with(L'.');
    return byEnding ? name.size() > part.name.size() && name.ends_with(part.name) && isAscii(name) : name == part.name;
}

using Names = std::vector<std::wstring>;

Names namesIn(const std::filesystem::path& folder, std::vector<std::string>& problems) {
    Names names;
    files::scanDirectory(folder, [&](const files::DirectoryEntry& entry) {
        const auto name = entry.path.filename().native();
        const bool isPart = std::ranges::any_of(parts, [&](const Part& part) { return isNamed(part, name); });
        if (isPart && !entry.isDirectory()) {
            names.push_back(name);
        } else {
            problems.push_back(std::format("holds {}, which does not belong there", win32::toUtf8(name)));
        }
    });
    std::ranges::sort(names);
    std::ranges::sort(problems);
    return names;
}

std::optional<AgentVersion> versionIn(const std::filesystem::path& folder, const Names& names) {
    if (std::ranges::find(names, L"VERSION") == names.end()) return std::nullopt;
    try {
        return kelvane::parseAgentVersion(win32::toWide(files::readFile(folder / L"VERSION", mostFileBytes)));
    } catch (const win32::Win32Error&) { // told of where every part is read
        return std::nullopt;
    }
}

void readPart(const std::filesystem::path& folder, const Part& part, const std::wstring& name, Payload& payload,
              std::optional<AgentVersion> version, std::vector<std::string>& problems) {
    const auto path = folder / name;
    PayloadFile file{.name = win32::toUtf8(name), .content = {}, .stored = part.stored};
    try {
        file.content = files::readFile(path, mostFileBytes);
        part.check({path, file.content, version});
    } catch (const win32::Win32Error& why) {
        problems.push_back(
            std::format("holds a {} that cannot be read: {}", file.name, win32::systemErrorText(why.code())));
    } catch (const Refusal& why) {
        problems.push_back(std::format("holds a {} that cannot be used: {}", file.name, why.what()));
    }
    payload.files.push_back(std::move(file));
}

} // namespace

Payload readPayload(const std::filesystem::path& folder, std::vector<std::string>& problems) {
    const DWORD attributes = GetFileAttributesW(folder.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
        problems.emplace_back(attributes == INVALID_FILE_ATTRIBUTES ? "does not exist" : "is no folder");
        return {};
    }
    const auto names = namesIn(folder, problems);
    const auto version = versionIn(folder, names);
    Payload payload{version.value_or(AgentVersion{}), {}};
    for (const auto& part : parts) {
        std::size_t count = 0;
        for (const auto& name : names) {
            if (isNamed(part, name) && ++count == 1) readPart(folder, part, name, payload, version, problems);
        }
        if (count == 0 && !part.missing.empty()) problems.emplace_back(part.missing);
        if (count > 1) problems.emplace_back("holds more than one driver");
    }
    const auto isInstaller = [](const std::wstring& name) { return name.starts_with(L"KelvaneInstaller."); };
    if (std::ranges::none_of(names, isInstaller)) problems.emplace_back(noInstaller);
    return payload;
}

} // namespace kelvane::pack
