#pragma once

#include "libwin32/Handles.h"

namespace win32 {

// The token that the calling thread acts with: its own while it impersonates, else the process's.
// Throws Win32Error "Failed to get effective token".
UniqueHandle effectiveToken(DWORD access);

// Enables a privilege (SE_SHUTDOWN_NAME, ...) of a token opened with TOKEN_ADJUST_PRIVILEGES. A privilege that the
// token does not hold is a failure as well (ERROR_NOT_ALL_ASSIGNED). Throws Win32Error "LookupPrivilegeValue",
// "AdjustTokenPrivileges".
void enablePrivilege(HANDLE token, const wchar_t* privilege);

} // namespace win32
