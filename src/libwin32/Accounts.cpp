#include "libwin32/Accounts.h"

#include "libwin32/Handles.h"
#include "libwin32/Win32Error.h"

#include <sddl.h>

namespace win32 {
namespace {

bool isLocalSystemName(const std::wstring& name) {
    alignas(SID) BYTE sid[SECURITY_MAX_SID_SIZE];
    wchar_t domain[256];
    DWORD sidSize = sizeof sid;
    DWORD domainLength = 256;
    SID_NAME_USE use{};
    if (LookupAccountNameW(nullptr, name.c_str(), sid, &sidSize, domain, &domainLength, &use)) {
        return IsWellKnownSid(sid, WinLocalSystemSid);
    }
    check(GetLastError() == ERROR_NONE_MAPPED, "LookupAccountNameW");
    return false;
}

} // namespace

bool isLocalSystem(const std::wstring& account) {
    PSID sid = nullptr;
    if (!ConvertStringSidToSidW(account.c_str(), &sid)) return isLocalSystemName(account);
    const UniqueLocal<void> owner(sid);
    return IsWellKnownSid(sid, WinLocalSystemSid);
}

} // namespace win32
