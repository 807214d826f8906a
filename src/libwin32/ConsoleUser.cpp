#include "libwin32/ConsoleUser.h"

#include "libwin32/Handles.h"
#include "libwin32/Win32Error.h"

#include <windows.h>

#include <wtsapi32.h>

#include <exception>

namespace win32 {

ConsoleUserImpersonation::ConsoleUserImpersonation() {
    UniqueHandle token;
    check(WTSQueryUserToken(WTSGetActiveConsoleSessionId(), token.put()), "WTSQueryUserToken");
    check(ImpersonateLoggedOnUser(token.get()), "ImpersonateLoggedOnUser");
}

ConsoleUserImpersonation::~ConsoleUserImpersonation() {
    // Going on as another user is worse than not going on.
    if (!RevertToSelf()) std::terminate();
}

} // namespace win32
