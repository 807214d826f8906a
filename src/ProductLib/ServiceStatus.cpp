#include "ProductLib/ServiceStatus.h"

#include "ProductLib/InstallerEvents.h"
#include "libwin32/Services.h"

namespace kelvane {

using bst::logEvent;
using bst::LogLevel;

bool isServiceRunning(const wchar_t* serviceName) noexcept {
    try {
        const auto state = win32::serviceState(serviceName);
        if (!state) logEvent(LogLevel::Verbose, "ServiceNotFound", {{"Service", serviceName}});
        return state == DWORD{SERVICE_RUNNING};
    } catch (const std::exception& error) {
        logEvent(LogLevel::Verbose, "ServiceQueryFailed", {{"Service", serviceName}, {"ErrorMsg", error.what()}});
        return false;
    }
}

} // namespace kelvane
