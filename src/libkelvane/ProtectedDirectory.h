#pragma once

#include "libwin32/Handles.h"

#include <filesystem>

// Directories in places, or under names, that somebody else may have chosen.
namespace kelvane::FileUtilities {

// What `create` makes at the path after whatever stands there has been removed, a link as a link; tried again a few
// times when somebody puts something there in between. Throws Win32Error with the name of the operation.
win32::UniqueHandle createInPlaceOf(const std::filesystem::path& path, win32::UniqueHandle (*create)(const wchar_t*),
                                    const char* operation);

// A new directory for administrators only, open from its creation on: while it is, neither it nor any directory above
// it can be renamed, removed or exchanged. `path` is its place without links, to be used in place of the given one.
struct HeldDirectory {
    std::filesystem::path path;
    win32::UniqueHandle handle;
};
// Whatever stands there is removed first. Throws Win32Error "createHeldDirectory", "GetFinalPathNameByHandleW".
HeldDirectory createHeldDirectory(const std::filesystem::path& path);

// Opens a directory, created when it is missing, that only Administrators and SYSTEM can use from then on. One that
// exists is used only when it is no link, Administrators, SYSTEM or TrustedInstaller own it and nobody else may change
// it; its owner and entries are then set anew. While the handle is open nobody removes or renames it.
// Throws Win32Error "openProtectedDirectory"; ERROR_INVALID_OWNER for one that others may change.
win32::UniqueHandle openProtectedDirectory(const std::filesystem::path& path);

// Opens an existing directory that is no link and that nobody but Administrators, SYSTEM and TrustedInstaller may
// change, as it is. While the handle is open nobody removes or renames it. Throws Win32Error "holdProtectedDirectory".
win32::UniqueHandle holdProtectedDirectory(const std::filesystem::path& path);

// Whether what stands at the path is no link and owned by Administrators, SYSTEM or TrustedInstaller. A failure counts
// as no.
bool isOwnedByAdministrators(const std::filesystem::path& path);

} // namespace kelvane::FileUtilities
