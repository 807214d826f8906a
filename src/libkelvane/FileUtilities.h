#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

// File operations that report failures uniformly: each raises a Win32Error with its own name as call(), unless it says
// otherwise. Paths may be longer than MAX_PATH and may hold any Unicode name.
namespace kelvane::FileUtilities {

std::uint32_t getFileAttributes(const std::filesystem::path& path);
void setFileAttributes(const std::filesystem::path& path, std::uint32_t attributes);
// Removes the attributes from those that the file has.
void stripFileAttributes(const std::filesystem::path& path, std::uint32_t attributes);

// Told of each failure, before it is raised: the path and the Windows error code.
using FailureCallback = std::function<void(const std::filesystem::path&, std::uint32_t code)>;
void deleteFileWithCallback(const std::filesystem::path& path, const FailureCallback& onFailure);
// `flags` are MoveFileExW's. A source that outlives a move by copying is told with ERROR_FILE_EXISTS and not raised.
void moveFileWithCallback(const std::filesystem::path& from, const std::filesystem::path& to,
                          const FailureCallback& onFailure, std::uint32_t flags);
void copyFile(const std::filesystem::path& from, const std::filesystem::path& to);

// Deletes a tree, read-only files too. Symbolic links and mount points in it are removed as links, never followed; so
// is `path` itself when it is one. What cannot be deleted is left and logged, and the first failure is raised at the
// end. A path that does not exist is no failure.
void deleteDirectory(const std::filesystem::path& path);
void deleteDirectoryNoThrow(const std::filesystem::path& path) noexcept;

// Copies a tree; links in it are not followed and not copied. Throws std::filesystem::filesystem_error
// ("create_directory") when `to` cannot be created, Win32Error for the rest.
void copyDirectory(const std::filesystem::path& from, const std::filesystem::path& to);

struct DirectoryEntry {
    std::filesystem::path path;
    std::uint32_t attributes = 0;
    bool isDirectory() const;
    bool isLink = false; // a reparse point that stands for another place: symbolic link or mount point
};
// Calls back for each entry of a directory ("." and ".." left out).
// Throws Win32Error "kelvane::FileUtilities::scanDirectory".
void scanDirectory(const std::filesystem::path& path, const std::function<void(const DirectoryEntry&)>& onEntry);

// Standard existence test: errors 2, 3 and 53 mean no; any other is a filesystem_error with the operation name
// "exists".
bool exists(const std::filesystem::path& path);
bool isDirectory(const std::filesystem::path& path); // operation name "status"

// The whole file as bytes. Throws Win32Error; a file of more than `mostBytes` is ERROR_FILE_TOO_LARGE.
std::string readFile(const std::filesystem::path& path, std::uint64_t mostBytes = 64ULL << 20);
// Creates or overwrites (CREATE_ALWAYS, no sharing).
void writeFile(const std::filesystem::path& path, std::string_view content);

// Creates a directory and its missing parents. Throws std::filesystem::filesystem_error ("create_directories").
void createDirectories(const std::filesystem::path& path);

// A directory that only Administrators and SYSTEM can use (full control, inherited by its content, protected from the
// parent's entries, owner Administrators), made anew: whatever stands there is removed first, links as links.
// Throws Win32Error "createProtectedDirectory".
void createProtectedDirectory(const std::filesystem::path& path);
// Creates a directory and its missing parents, each protected in that way; what exists is left as it is. Returns
// whether the last one was created. Throws Win32Error "createProtectedDirectories".
bool createProtectedDirectories(const std::filesystem::path& path);

} // namespace kelvane::FileUtilities
