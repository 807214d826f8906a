#include "OstravelInstaller/continuation/ContinuationFolder.h"

#include "OstravelInstaller/continuation/OwnImage.h"
#include "libkelvane/FileStream.h"
#include "libkelvane/FileUtilities.h"
#include "libkelvane/PathUtils.h"
#include "libkelvane/ProtectedDirectory.h"
#include "libkelvane/UserLog.h"
#include "libwin32/FileTree.h"
#include "libwin32/Win32Error.h"

#include <algorithm>
#include <format>
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

win32::UniqueHandle openItself(const std::filesystem::path& file) {
    win32::UniqueHandle handle(CreateFileW(PathUtils::longPath(file).c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                           OPEN_EXISTING, FILE_FLAG_OPEN_REPARSE_POINT | FILE_FLAG_SEQUENTIAL_SCAN,
                                           nullptr));
    FILE_ATTRIBUTE_TAG_INFO info{};
    win32::check(handle && GetFileInformationByHandleEx(handle.get(), FileAttributeTagInfo, &info, sizeof info),
                 "openItself");
    if (win32::isLink(info.FileAttributes, info.ReparseTag)) win32::throwWin32("openItself", ERROR_CANT_ACCESS_FILE);
    return handle;
}

// Whatever else fails, as a reader's lock or the hashing, says nothing of the file.
bool tellsDamage(std::uint32_t code) {
    constexpr std::uint32_t damage[] = {ERROR_CANT_ACCESS_FILE, ERROR_CRC, ERROR_FILE_CORRUPT, ERROR_DISK_CORRUPT};
    return win32::isNotFound(code) || std::ranges::count(damage, code) != 0;
}

void removeAll(const std::vector<std::filesystem::path>& entries) noexcept {
    for (const auto& entry : entries)
        FileUtilities::deleteDirectoryNoThrow(entry);
}

} // namespace

bool isContinuationFolder(const BaseFolder& baseFolder, const std::filesystem::path& folder) {
    // A base folder that cannot be had now may be the one in which an earlier run has left it.
    return folder.filename().native().starts_with(folderPrefix) &&
           (baseFolder.usable() ? samePath(folder.parent_path(), baseFolder.path())
                                : FileUtilities::isOwnedByAdministrators(folder));
}

std::optional<std::filesystem::path> ownContinuationFolder(const BaseFolder& baseFolder) {
    auto folder = ownImagePath().parent_path();
    if (!isContinuationFolder(baseFolder, folder) || !FileUtilities::isOwnedByAdministrators(folder))
        return std::nullopt;
    return folder;
}

std::filesystem::path copyIn(const std::filesystem::path& folder) { return folder / copyName; }

Copy makeCopy(const BaseFolder& baseFolder) {
    const auto folder = baseFolder.makeFolder(folderPrefix);
    try {
        return {folder, copyOwnImage(copyIn(folder))};
    } catch (...) {
        FileUtilities::deleteDirectoryNoThrow(folder);
        throw;
    }
}

std::string faultOfCopy(const std::filesystem::path& folder, const FileDigest& expected) {
    try {
        const auto heldFolder = FileUtilities::holdProtectedDirectory(folder);
        const auto copy = openItself(copyIn(folder));
        const std::uint64_t size = sizeOf(copy.get());
        if (size != expected.size) return std::format("The copy has {} bytes of {}", size, expected.size);
        return digestOf(copy.get()) == expected ? "" : "The copy holds other bytes";
    } catch (const win32::Win32Error& error) {
        if (!tellsDamage(error.code())) throw;
        return error.what();
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
