#include "SharedLib/AgentPaths.h"

#include "libkelvane/FileUtilities.h"
#include "libkelvane/PathUtils.h"
#include "libwin32/Text.h"

#include <algorithm>
#include <array>

namespace kelvane {
namespace {

using std::wstring_view;

// \d+\.\d+\.\d+\.\d+ at the start of the text.
std::optional<wstring_view> leadingVersion(wstring_view text) {
    std::size_t end = 0;
    for (int part = 0; part < 4; ++part) {
        if (part > 0 && !text.substr(end++).starts_with(L'.')) return std::nullopt;
        const auto digitsEnd = std::min(text.find_first_not_of(L"0123456789", end), text.size());
        if (digitsEnd <= end) return std::nullopt;
        end = digitsEnd;
    }
    return text.substr(0, end);
}

std::optional<wstring_view> versionAfter(wstring_view prefix, wstring_view path) {
    for (auto at = path.find(prefix); at != wstring_view::npos; at = path.find(prefix, at + 1)) {
        if (const auto version = leadingVersion(path.substr(at + prefix.size()))) return version;
    }
    return std::nullopt;
}

bool startsWithIgnoringCase(wstring_view text, wstring_view prefix) {
    return win32::equalsIgnoringAsciiCase(text.substr(0, prefix.size()), prefix);
}

// Up to the first ".exe" or ".sys" that ends a word, else the whole: an unquoted path may hold blanks.
wstring_view withoutArguments(wstring_view command) {
    for (auto blank = command.find(L' '); blank != wstring_view::npos; blank = command.find(L' ', blank + 1)) {
        const auto head = command.substr(0, blank);
        const auto ending = head.substr(head.size() - std::min<std::size_t>(head.size(), 4));
        if (startsWithIgnoringCase(ending, L".exe") || startsWithIgnoringCase(ending, L".sys")) return head;
    }
    return command;
}

} // namespace

std::optional<AgentVersion> versionFromAgentPath(wstring_view path) {
    for (const wstring_view prefix : {L"\\Kelvane Agent ", L"\\Ostravel\\"}) {
        if (const auto version = versionAfter(prefix, path)) return parseAgentVersion(*version);
    }
    return std::nullopt;
}

std::filesystem::path configDirFromAgentPath(const std::filesystem::path& path) {
    const bool isFile = !FileUtilities::isDirectory(path) && FileUtilities::exists(path);
    return (isFile ? path.parent_path() : path) / L"config";
}

std::optional<std::filesystem::path> validConfigDir(const std::filesystem::path& path) {
    static constexpr std::array<const wchar_t*, 3> names{L"UserConfig.json", L"AgentUid.json", L"LocalConfig.json"};
    if (!FileUtilities::isDirectory(path)) return std::nullopt;
    const bool valid = std::ranges::any_of(names, [&](auto name) { return FileUtilities::exists(path / name); });
    return valid ? std::optional(path) : std::nullopt;
}

bool isBelowProgramFiles(const std::filesystem::path& path) {
    const std::wstring full = PathUtils::fullPath(path).native();
    return startsWithIgnoringCase(full, PathUtils::programFiles().native() + L'\\');
}

std::filesystem::path programOfImagePath(wstring_view imagePath) {
    const std::wstring expanded = PathUtils::expandEnvironment(imagePath);
    wstring_view program = expanded;
    program.remove_prefix(std::min(program.find_first_not_of(L" \t"), program.size()));
    if (program.starts_with(L'"')) {
        program = program.substr(1, program.substr(1).find(L'"'));
    } else {
        program = withoutArguments(program);
    }
    for (const wstring_view prefix : {L"\\??\\", L"\\\\?\\"}) {
        if (program.starts_with(prefix)) return program.substr(prefix.size());
    }
    constexpr wstring_view systemRoot = L"\\SystemRoot\\";
    if (!startsWithIgnoringCase(program, systemRoot)) return program;
    return PathUtils::windowsDirectory() / program.substr(systemRoot.size());
}

} // namespace kelvane
