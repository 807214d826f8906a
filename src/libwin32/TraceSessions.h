#pragma once

#include <string>
#include <vector>

namespace win32 {

struct RunningTrace {
    std::wstring name;
    std::wstring logFile; // full path; empty for a session without a file
};

// The event-trace sessions that run on this machine. Throws Win32Error "QueryAllTraces".
std::vector<RunningTrace> runningTraces();

} // namespace win32
