#include "OstravelInstaller/continuation/ContinuationFolder.h"

#include "OstravelInstaller/continuation/OwnImage.h"
#include "libkelvane/FileUtilities.h"
#include "libkelvane/ProtectedDirectory.h"
#include "libkelvane/UserLog.h"

#include <vector>

namespace kelvane::bst {
namespace {

constexpr std::wstring_view folderPrefix = L"QX_R_";
constexpr std::wstring_view copyName = L"OstravelInstaller.exe";

bool samePath(const std::filesystem::path& left, const std::filesystem::path& right) {
    const std::wstring& a = left.native();
    const std::wstring& b = right.native();
    return CompareStringOrdinal(a.c_str(), static_cast<int>(a.size()), b.c_str(), static_cast<int>(b.size()), TRUE) ==
           CSTR_EQUAL;
}

// The entries of a folder, links included, that `chosen` picks.
template <class Choice>
std::vector<std::filesystem::path> entriesOf(const std::filesystem::path& folder, Choice chosen) {
    std::vector<std::filesystem::path> entries;
    FileUtilities::scanDirectory(folder, [&](const FileUtilities::DirectoryEntry& entry) {
        if (chosen(entry)) entries.push_back(entry.path);
    });
    return entries;
}

void removeAll(const std::vector<std::filesystem::path>& entries) noexcept {
    for (const auto& entry : entries)
        FileUtilities::deleteDirectoryNoThrow(entry);
}

} // namespace

bool isContinuationFolder(const BaseFolder& baseFolder, const std::filesystem::path& folder) {
    return folder.filename().native().starts_with(folderPrefix) && samePath(folder.parent_path(), baseFolder.path()) &&
           (baseFolder.usable() || FileUtilities::isOwnedByAdministrators(folder));
}

std::optional<std::filesystem::path> ownContinuationFolder(const BaseFolder& baseFolder) {
    auto folder = ownImagePath().parent_path();
    if (!isContinuationFolder(baseFolder, folder) || !FileUtilities::isOwnedByAdministrators(folder))
        return std::nullopt;
    return folder;
}

std::filesystem::path copyIn(const std::filesystem::path& folder) { return folder / copyName; }

std::filesystem::path makeCopy(const BaseFolder& baseFolder) {
    const auto folder = baseFolder.makeFolder(folderPrefix);
    try {
        copyOwnImage(copyIn(folder));
        return folder;
    } catch (...) {
        FileUtilities::deleteDirectoryNoThrow(folder);
        throw;
    }
}

void removeCopy(const std::filesystem::path& folder) noexcept {
    try {
        const auto& executable = ownImagePath();
        if (!samePath(folder, executable.parent_path())) return FileUtilities::deleteDirectoryNoThrow(folder);
        removeAll(entriesOf(folder, [&](const auto& entry) { return !samePath(entry.path, executable); }));
    } catch (const std::exception& error) {
        userLog(win32::TraceLevel::Error, error.what());
    }
}

void removeStaleFolders(const BaseFolder& baseFolder, const std::filesystem::path& workingDirectory) noexcept {
    if (!ownImagePath().empty()) baseFolder.removeStale(folderPrefix, ownImagePath().parent_path());
    baseFolder.removeStale(runFolderPrefix, workingDirectory);
}

} // namespace kelvane::bst
