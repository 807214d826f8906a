#pragma once

#include "libwin32/Handles.h"

#include <filesystem>

// Directories that outlive a run, and may have been made by somebody else.
namespace kelvane::FileUtilities {

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
