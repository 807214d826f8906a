#pragma once

#include "libwin32/Handles.h"

namespace win32 {

// Directories and files that only Administrators and SYSTEM can use, from the moment they exist: full control for both,
// inherited by what a directory holds, no entries taken from the parent, owner Administrators.

// As CreateDirectoryW: false and the last error on failure, also when anything stands there already.
bool createDirectoryForAdministrators(const wchar_t* path);
// The same directory, open from its creation on, without delete sharing: nobody renames or removes it, nor any that it
// lies in. The path is one with the prefix "\\?\", or of a server. Empty handle and the last error on failure.
UniqueHandle createHeldDirectoryForAdministrators(const wchar_t* path);
// A new file (CREATE_NEW), open for reading, writing and deleting; others may open it for reading only. Empty handle
// and the last error on failure, also when anything stands there already, be it a link.
UniqueHandle createFileForAdministrators(const wchar_t* path);
// Sets owner and entries of an open directory (WRITE_DAC, WRITE_OWNER) to those; its content keeps what it has. False
// and the last error on failure.
bool giveToAdministrators(HANDLE directory);

// Owner and entry list of an open file or directory (READ_CONTROL); empty and the last error on failure.
UniqueSecurityDescriptor securityOf(HANDLE file);
// Owner Administrators, SYSTEM or TrustedInstaller.
bool isOwnerTrusted(PSECURITY_DESCRIPTOR security);
// The owner is trusted, and no entry lets anybody else write, delete or change it, or what is going to lie in it.
bool onlyAdministratorsMayChange(PSECURITY_DESCRIPTOR security);

} // namespace win32
