#pragma once

#include <string>

namespace win32 {

// Whether the account, a SID in text form or a name in any language, is the local system account. Throws Win32Error
// "LookupAccountNameW" when a name cannot be looked up; one that nobody has is not the account.
bool isLocalSystem(const std::wstring& account);

} // namespace win32
