#pragma once

namespace win32 {

// The calling thread acts as the user of the active console session while this object lives. For a process that may:
// the local system account. Throws Win32Error.
class ConsoleUserImpersonation {
public:
    ConsoleUserImpersonation();
    ~ConsoleUserImpersonation();
    ConsoleUserImpersonation(const ConsoleUserImpersonation&) = delete;
    ConsoleUserImpersonation& operator=(const ConsoleUserImpersonation&) = delete;
};

} // namespace win32
