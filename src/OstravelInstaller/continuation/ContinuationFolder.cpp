#include "OstravelInstaller/continuation/ContinuationFolder.h"

#include "libkelvane/FileUtilities.h"
#include "libkelvane/JsonUtils.h"
#include "libkelvane/PathUtils.h"
#include "libkelvane/UserLog.h"
#include "libwin32/Text.h"

#include <stdexcept>
#include <vector>

namespace kelvane::bst {
namespace {

constexpr std::wstring_view folderPrefix = L"QX_R_";
constexpr std::wstring_view copyName = L"OstravelInstaller.exe";
constexpr std::wstring_view recordName = L"TelemetryMetaData.json";

bool samePath(const std::filesystem::path& left, const std::filesystem::path& right) {
    const std::wstring& a = left.native();
    const std::wstring& b = right.native();
    return CompareStringOrdinal(a.c_str(), static_cast<int>(a.size()), b.c_str(), static_cast<int>(b.size()), TRUE) ==
           CSTR_EQUAL;
}

bool isContinuationFolder(const BaseFolder& baseFolder, const std::filesystem::path& folder) {
    return folder.filename().native().starts_with(folderPrefix) && samePath(folder.parent_path(), baseFolder.path());
}

std::filesystem::path ownFolder() { return PathUtils::withoutLongPrefix(PathUtils::ownExecutable()).parent_path(); }

// The entries of a folder, links included, that `chosen` picks.
template <class Choice>
std::vector<std::filesystem::path> entriesOf(const std::filesystem::path& folder, Choice chosen) {
    std::vector<std::filesystem::path> entries;
    FileUtilities::scanDirectory(folder, [&](const FileUtilities::DirectoryEntry& entry) {
        if (chosen(entry)) entries.push_back(entry.path);
    });
    return entries;
}

TelemetryMetaData::Entries entriesOf(const web::json::value& document) {
    TelemetryMetaData::Entries entries;
    for (const auto& [key, value] : document.as_object()) {
        if (value.is_string()) entries.emplace(key, value.as_string());
    }
    return entries;
}

std::string jsonOf(const TelemetryMetaData& record) {
    auto document = web::json::value::object();
    for (const auto& [key, value] : record.entries())
        document[key] = web::json::value::string(value);
    return win32::toUtf8(document.serialize());
}

} // namespace

std::filesystem::path copySelf(const BaseFolder& baseFolder) {
    std::filesystem::path folder;
    try {
        folder = baseFolder.makeFolder(folderPrefix);
        FileUtilities::copyFile(PathUtils::ownExecutable(), folder / copyName);
        return folder / copyName;
    } catch (const std::exception& error) {
        userLog(win32::TraceLevel::Error, error.what());
        if (!folder.empty()) FileUtilities::deleteDirectoryNoThrow(folder);
        throw std::runtime_error("Failed to create copy of current OstravelInstaller.");
    }
}

void saveTelemetryRecord(const std::filesystem::path& folder, const TelemetryMetaData& record) noexcept {
    try {
        FileUtilities::writeFile(folder / recordName, jsonOf(record));
    } catch (const std::exception& error) {
        userLog(win32::TraceLevel::Error, error.what());
    }
}

std::optional<TelemetryMetaData::Entries> loadSavedTelemetryRecord(const BaseFolder& baseFolder) noexcept {
    try {
        const auto record = ownFolder() / recordName;
        if (!isContinuationFolder(baseFolder, ownFolder()) || !FileUtilities::exists(record)) return std::nullopt;
        return entriesOf(JsonUtils::readFile(record));
    } catch (const std::exception& error) {
        userLog(win32::TraceLevel::Error, error.what());
        return std::nullopt;
    }
}

void cleanUpContinuation(const BaseFolder& baseFolder) noexcept {
    try {
        const auto executable = PathUtils::withoutLongPrefix(PathUtils::ownExecutable());
        if (!isContinuationFolder(baseFolder, ownFolder())) return;
        const auto unused = [&](const auto& entry) { return !samePath(entry.path.filename(), executable.filename()); };
        for (const auto& path : entriesOf(ownFolder(), unused))
            FileUtilities::deleteDirectoryNoThrow(path);
    } catch (const std::exception& error) {
        userLog(win32::TraceLevel::Error, error.what());
    }
}

void removeStaleCopies(const BaseFolder& baseFolder) noexcept {
    if (!baseFolder.usable()) return;
    try {
        const auto own = ownFolder();
        const auto stale = [&](const auto& entry) {
            return entry.isDirectory() && isContinuationFolder(baseFolder, entry.path) && !samePath(entry.path, own) &&
                   baseFolder.isTrusted(entry.path);
        };
        for (const auto& folder : entriesOf(baseFolder.path(), stale))
            FileUtilities::deleteDirectoryNoThrow(folder);
    } catch (const std::exception& error) {
        userLog(win32::TraceLevel::Error, error.what());
    }
}

} // namespace kelvane::bst
