#include "ProductLib/MonitorStatus.h"

#include "ProductLib/InstallerEvents.h"
#include "ProductLib/ServiceStatus.h"
#include "libkelvane/MinifilterPort.h"

namespace kelvane {

using bst::logEvent;
using bst::LogLevel;

bool isMonitorServiceRunning() noexcept { return isServiceRunning(L"KelvaneMonitor"); }

bool isMonitorPortDown() noexcept {
    constexpr long portAbsent = static_cast<long>(0x80070002);
    MinifilterPort port;
    const long result = port.open(L"\\KelvaneMonitorPort");
    if (SUCCEEDED(result)) {
        logEvent(LogLevel::Verbose, "KelvanePortIsUp");
        return false;
    }
    if (result == portAbsent) {
        logEvent(LogLevel::Verbose, "KelvanePortIsDown");
        return true;
    }
    // Deliberately not stuck: a restart is asked for only when the port is known to be closed.
    logEvent(LogLevel::Verbose, "KelvanePortConnectFailed", {{"HResult", static_cast<std::uint32_t>(result)}});
    return false;
}

bool isMonitorStuck() noexcept { return isMonitorServiceRunning() && isMonitorPortDown(); }

} // namespace kelvane
