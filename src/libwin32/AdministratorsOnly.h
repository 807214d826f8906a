#pragma once

#include "libwin32/Handles.h"

namespace win32 {

// Directories and files that only Administrators and SYSTEM can use, from the moment they exist: full control for both,
// inherited by what a directory holds, no entries taken from the parent, owner Administrators.

// As CreateDirectoryW: false and the last error on failure.
bool createDirectoryForAdministrators(const wchar_t* path);
// A new file (CREATE_NEW), open for writing without sharing; empty handle and the last error on failure.
UniqueHandle createFileForAdministrators(const wchar_t* path);

} // namespace win32
