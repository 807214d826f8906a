#include "OstravelInstaller/continuation/Reboot.h"

#include "OstravelInstallerLib/Console.h"
#include "ProductLib/InstallerEvents.h"
#include "libwin32/AccessToken.h"
#include "libwin32/Text.h"
#include "libwin32/Win32Error.h"

namespace kelvane::bst {
namespace {

constexpr DWORD rebootReason =
    SHTDN_REASON_FLAG_PLANNED | SHTDN_REASON_MAJOR_APPLICATION | SHTDN_REASON_MINOR_INSTALLATION;

void startReboot() {
    const auto token = win32::effectiveToken(TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY);
    win32::enablePrivilege(token.get(), SE_SHUTDOWN_NAME);
    win32::check(InitiateSystemShutdownExW(nullptr, nullptr, 0, TRUE, TRUE, rebootReason), "InitiateSystemShutdownEx");
}

bool reportFailure(std::wstring_view message) {
    logEvent(LogLevel::Error, "RebootingMachineFailed");
    printLine(message);
    return false;
}

} // namespace

bool reboot(std::uint32_t exitStatus) noexcept {
    logEvent(LogLevel::Verbose, "RebootingMachine");
    try {
        startReboot();
    } catch (const win32::Win32Error& error) {
        return reportFailure(L"Failed to reboot the machine. error: " + win32::toWide(error.what()));
    } catch (const std::exception&) {
        return reportFailure(L"Failed to reboot the machine.");
    }
    ExitProcess(exitStatus);
}

} // namespace kelvane::bst
