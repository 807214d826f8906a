#include "libkelvane/FileUtilities.h"

#include "libkelvane/FileWriter.h"
#include "libkelvane/PathUtils.h"
#include "libkelvane/UserLog.h"
#include "libwin32/AdministratorsOnly.h"
#include "libwin32/FileTree.h"
#include "libwin32/Handles.h"
#include "libwin32/Text.h"
#include "libwin32/Win32Error.h"

#include <algorithm>
#include <system_error>

namespace kelvane::FileUtilities {
namespace {

using PathUtils::longPath;

[[noreturn]] void throwFilesystemError(const char* operation, const std::filesystem::path& path, DWORD code) {
    throw std::filesystem::filesystem_error(operation, path,
                                            std::error_code(static_cast<int>(code), std::system_category()));
}

void tell(const FailureCallback& onFailure, const std::filesystem::path& path, std::uint32_t code) {
    if (onFailure) onFailure(path, code);
}

// The attributes, or INVALID_FILE_ATTRIBUTES when nothing stands there.
DWORD attributesIfAny(const char* operation, const std::filesystem::path& path) {
    const DWORD attributes = GetFileAttributesW(longPath(path).c_str());
    if (attributes != INVALID_FILE_ATTRIBUTES) return attributes;
    const DWORD code = GetLastError();
    if (!win32::isNotFound(code)) throwFilesystemError(operation, path, code);
    return INVALID_FILE_ATTRIBUTES;
}

std::uint32_t deleteTree(const std::filesystem::path& path) {
    return win32::deleteTree(longPath(path), [](const std::wstring& entry, std::uint32_t code) {
        userLog(win32::TraceLevel::Error, win32::formatText(L"deleteDirectory: error %u: %s", code, entry));
    });
}

bool isDirectoryNow(const std::filesystem::path& path) {
    const DWORD attributes = GetFileAttributesW(longPath(path).c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

// The path and those of its parents that are not directories yet, topmost first.
std::vector<std::filesystem::path> missingLevels(const std::filesystem::path& path) {
    std::vector<std::filesystem::path> missing;
    auto level = PathUtils::withoutLongPrefix(longPath(PathUtils::withoutLongPrefix(path)));
    if (!level.has_filename()) level = level.parent_path();
    while (level.has_relative_path() && !isDirectoryNow(level)) {
        missing.push_back(level);
        level = level.parent_path();
    }
    std::ranges::reverse(missing);
    return missing;
}

} // namespace

bool DirectoryEntry::isDirectory() const { return (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0; }

std::uint32_t getFileAttributes(const std::filesystem::path& path) {
    const DWORD attributes = GetFileAttributesW(longPath(path).c_str());
    win32::check(attributes != INVALID_FILE_ATTRIBUTES, "getFileAttributes");
    return attributes;
}

void setFileAttributes(const std::filesystem::path& path, std::uint32_t attributes) {
    win32::check(SetFileAttributesW(longPath(path).c_str(), attributes), "setFileAttributes");
}

void stripFileAttributes(const std::filesystem::path& path, std::uint32_t attributes) {
    const win32::UniqueHandle file(CreateFileW(longPath(path).c_str(), FILE_READ_ATTRIBUTES | FILE_WRITE_ATTRIBUTES,
                                               FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                               OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT,
                                               nullptr));
    win32::check(bool(file), "stripFileAttributes");
    FILE_BASIC_INFO info{};
    win32::check(GetFileInformationByHandleEx(file.get(), FileBasicInfo, &info, sizeof info),
                 "GetFileInformationByHandleEx failed");
    const DWORD kept = info.FileAttributes & ~attributes;
    if (kept == info.FileAttributes) return;
    FILE_BASIC_INFO change{}; // times of 0 stay as they are; attributes of 0 would, too
    change.FileAttributes = kept != 0 ? kept : FILE_ATTRIBUTE_NORMAL;
    win32::check(SetFileInformationByHandle(file.get(), FileBasicInfo, &change, sizeof change), "stripFileAttributes");
}

void deleteFileWithCallback(const std::filesystem::path& path, const FailureCallback& onFailure) {
    if (DeleteFileW(longPath(path).c_str())) return;
    const DWORD code = GetLastError();
    tell(onFailure, path, code);
    win32::throwWin32("deleteFileWithCallback", code);
}

void moveFileWithCallback(const std::filesystem::path& from, const std::filesystem::path& to,
                          const FailureCallback& onFailure, std::uint32_t flags) {
    if (!MoveFileExW(longPath(from).c_str(), longPath(to).c_str(), flags)) {
        const DWORD code = GetLastError();
        tell(onFailure, from, code);
        win32::throwWin32("moveFileWithCallback", code);
    }
    // A move to another volume succeeds also when the source could be copied but not deleted.
    if ((flags & MOVEFILE_COPY_ALLOWED) != 0 && GetFileAttributesW(longPath(from).c_str()) != INVALID_FILE_ATTRIBUTES) {
        tell(onFailure, from, ERROR_FILE_EXISTS);
    }
}

void copyFile(const std::filesystem::path& from, const std::filesystem::path& to) {
    win32::check(CopyFileW(longPath(from).c_str(), longPath(to).c_str(), FALSE), "copyFile");
}

// deleteTree's answer, or the code of the call that it needs and did not get.
std::uint32_t tryToDelete(const std::filesystem::path& path) try {
    return deleteTree(path);
} catch (const win32::Win32Error& error) {
    return error.code();
}

void deleteDirectory(const std::filesystem::path& path) {
    // Scanners look at what is new, and let go of it soon; whoever has held the deletion up once does so again.
    constexpr int mostAttempts = 3;
    constexpr DWORD pauseMs = 100;
    for (int attempt = 1;; ++attempt) {
        const auto code = tryToDelete(path);
        if (code == 0) return;
        const bool heldUp = code == ERROR_TIMEOUT || code == ERROR_OPERATION_ABORTED;
        if (heldUp || attempt == mostAttempts) win32::throwWin32("deleteDirectory", code);
        Sleep(pauseMs);
    }
}

void deleteDirectoryNoThrow(const std::filesystem::path& path) noexcept {
    try {
        deleteDirectory(path);
    } catch (const std::exception& error) {
        userLog(win32::TraceLevel::Error, "kelvane::FileUtilities::deleteDirectoryNoThrow");
        userLog(win32::TraceLevel::Error, error.what());
    }
}

void copyDirectory(const std::filesystem::path& from, const std::filesystem::path& to) {
    std::vector<std::filesystem::path> toDo{L""};
    while (!toDo.empty()) {
        const auto relative = toDo.back();
        toDo.pop_back();
        const auto target = to / relative;
        if (!CreateDirectoryW(longPath(target).c_str(), nullptr)) {
            const DWORD code = GetLastError();
            if (!isDirectoryNow(target)) throwFilesystemError("create_directory", target, code);
        }
        scanDirectory(from / relative, [&](const DirectoryEntry& entry) {
            const auto name = entry.path.filename();
            if (entry.isLink) return;
            if (entry.isDirectory()) {
                toDo.push_back(relative / name);
            } else {
                copyFile(entry.path, target / name);
            }
        });
    }
}

void scanDirectory(const std::filesystem::path& path, const std::function<void(const DirectoryEntry&)>& onEntry) {
    constexpr std::string_view name = "kelvane::FileUtilities::scanDirectory";
    WIN32_FIND_DATAW data{};
    const win32::UniqueFind find(FindFirstFileW(longPath(path / L"*").c_str(), &data));
    if (!find) {
        // The root of a drive lacks the "." that every other directory has.
        win32::check(GetLastError() == ERROR_FILE_NOT_FOUND, name);
        return;
    }
    do {
        const std::wstring_view entry = data.cFileName;
        if (entry == L"." || entry == L"..") continue;
        onEntry({path / entry, data.dwFileAttributes, win32::isLink(data.dwFileAttributes, data.dwReserved0)});
    } while (FindNextFileW(find.get(), &data));
    win32::check(GetLastError() == ERROR_NO_MORE_FILES, name);
}

bool exists(const std::filesystem::path& path) { return attributesIfAny("exists", path) != INVALID_FILE_ATTRIBUTES; }

bool isDirectory(const std::filesystem::path& path) {
    const DWORD attributes = attributesIfAny("status", path);
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

std::string readFile(const std::filesystem::path& path, std::uint64_t mostBytes) {
    const win32::UniqueHandle file(CreateFileW(longPath(path).c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                               OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    win32::check(bool(file), "readFile");
    std::string content;
    char buffer[65536];
    for (DWORD length = 1; length != 0; content.append(buffer, length)) {
        win32::check(ReadFile(file.get(), buffer, sizeof buffer, &length, nullptr), "readFile");
        if (content.size() + length > mostBytes) win32::throwWin32("readFile", ERROR_FILE_TOO_LARGE);
    }
    return content;
}

void writeFile(const std::filesystem::path& path, std::string_view content) {
    const win32::UniqueHandle file(
        CreateFileW(longPath(path).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    win32::check(bool(file), "writeFile");
    writeAll(file.get(), content.data(), content.size());
}

void createDirectories(const std::filesystem::path& path) {
    for (const auto& level : missingLevels(path)) {
        if (CreateDirectoryW(longPath(level).c_str(), nullptr)) continue;
        const DWORD code = GetLastError();
        if (!isDirectoryNow(level)) throwFilesystemError("create_directories", level, code);
    }
}

void createProtectedDirectory(const std::filesystem::path& path) {
    if (const auto code = deleteTree(path); code != 0) win32::throwWin32("createProtectedDirectory", code);
    // Who puts another directory there in between makes this fail: nothing that others made is used.
    win32::check(win32::createDirectoryForAdministrators(longPath(path).c_str()), "createProtectedDirectory");
}

bool createProtectedDirectories(const std::filesystem::path& path) {
    const auto missing = missingLevels(path);
    for (const auto& level : missing) {
        win32::check(win32::createDirectoryForAdministrators(longPath(level).c_str()), "createProtectedDirectories");
    }
    if (missing.empty() && !isDirectoryNow(path)) win32::throwWin32("createProtectedDirectories", ERROR_PATH_NOT_FOUND);
    return !missing.empty();
}

} // namespace kelvane::FileUtilities
