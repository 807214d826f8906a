#include "libwin32/AccessToken.h"

#include "libwin32/Win32Error.h"

namespace win32 {

UniqueHandle effectiveToken(DWORD access) {
    constexpr BOOL asProcess = TRUE; // the impersonated user may not be allowed to open its own token
    UniqueHandle token;
    if (!OpenThreadToken(GetCurrentThread(), access, asProcess, token.put()) && GetLastError() == ERROR_NO_TOKEN) {
        OpenProcessToken(GetCurrentProcess(), access, token.put());
    }
    check(bool(token), "Failed to get effective token");
    return token;
}

void enablePrivilege(HANDLE token, const wchar_t* privilege) {
    TOKEN_PRIVILEGES change{};
    change.PrivilegeCount = 1;
    change.Privileges[0].Attributes = SE_PRIVILEGE_ENABLED;
    check(LookupPrivilegeValueW(nullptr, privilege, &change.Privileges[0].Luid), "LookupPrivilegeValue");
    check(AdjustTokenPrivileges(token, FALSE, &change, 0, nullptr, nullptr), "AdjustTokenPrivileges");
    // The call succeeds also when it has enabled nothing.
    if (const DWORD code = GetLastError(); code != ERROR_SUCCESS) throwWin32("AdjustTokenPrivileges", code);
}

} // namespace win32
