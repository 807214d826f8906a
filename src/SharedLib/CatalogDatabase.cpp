#include "SharedLib/CatalogDatabase.h"

#include "SharedLib/NotSupportedException.h"
#include "libkelvane/FileUtilities.h"
#include "libwin32/FileTree.h"
#include "libwin32/Text.h"
#include "libwin32/Win32Error.h"

#include <windows.h>

#include <algorithm>
#include <string_view>
#include <system_error>

namespace kelvane::system_requirements {
namespace {

constexpr std::wstring_view databases[] = {
    L"{F750E6C3-38EE-11D1-85E5-00C04FC295EE}",
    L"{127D0A1D-4EF2-11D1-8608-00C04FC295EE}",
};

bool isCatalogDatabase(const FileUtilities::DirectoryEntry& entry) {
    const auto name = entry.path.filename();
    return entry.isDirectory() && std::ranges::any_of(databases, [&](std::wstring_view database) {
               return win32::equalsIgnoringAsciiCase(name.native(), database);
           });
}

bool isRegularFile(const std::filesystem::path& path) {
    const DWORD attributes = GetFileAttributesW(path.c_str());
    if (attributes != INVALID_FILE_ATTRIBUTES) {
        return (attributes & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_DEVICE)) == 0;
    }
    const DWORD code = GetLastError();
    if (win32::isNotFound(code) || code == ERROR_INVALID_NAME) return false;
    throw std::filesystem::filesystem_error("directory_entry::status", path,
                                            {static_cast<int>(code), std::system_category()});
}

void checkEntry(const FileUtilities::DirectoryEntry& entry) {
    if (!isCatalogDatabase(entry) || isRegularFile(entry.path / "catdb")) return;
    throw NotSupportedException(
        "Agent installer could not proceed due to CryptSvc fatal error. Please contact support for "
        "more information.");
}

} // namespace

void checkCatalogDatabases(const std::filesystem::path& catroot2) {
    try {
        FileUtilities::scanDirectory(catroot2, checkEntry);
    } catch (const win32::Win32Error& error) {
        throw std::filesystem::filesystem_error("directory_iterator::directory_iterator", catroot2,
                                                {static_cast<int>(error.code()), std::system_category()});
    }
}

} // namespace kelvane::system_requirements
