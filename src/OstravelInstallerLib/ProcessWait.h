#pragma once

#include "libkelvane/Utilities.h"

#include <windows.h>

#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>

// The installer's waits for msiexec and the cleaner.
namespace kelvane::bst {

// The monitor driver was found hung at two marks in a row while a child process ran.
class StuckMonitorError : public std::runtime_error {
public:
    StuckMonitorError() : std::runtime_error("KelvaneMonitor is stuck.") {}
};

using ProcessWait = std::function<void(HANDLE process)>;

// Starts the command line, waits through `wait`, returns the exit code. Throws Win32Error and what `wait` throws.
std::uint32_t executeProcess(const std::wstring& commandLine, const ProcessWait& wait,
                             const StartOptions& options = {});

// Waits without limit. Throws Win32Error.
void waitForProcess(HANDLE process);

// Each answers whether the monitor is hung: the state of its service, and its communication port.
struct MonitorChecks {
    std::function<bool()> serviceHung;
    std::function<bool()> portHung;
};
inline constexpr std::uint32_t monitorMarkMs = 600'000; // 10 minutes

// A wait that checks the monitor every `markMs`, its service first, its port only when the service looks hung. Throws
// StuckMonitorError when the monitor is found hung at two marks in a row, Win32Error when the wait fails. A healthy
// monitor lets it wait without limit.
ProcessWait stuckMonitorWait(MonitorChecks checks, std::uint32_t markMs = monitorMarkMs);

} // namespace kelvane::bst
