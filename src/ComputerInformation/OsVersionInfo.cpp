#include "ComputerInformation/OsVersionInfo.h"

#include "libkelvane/RegKey.h"
#include "libkelvane/UserLog.h"
#include "libkelvane/WindowsVersion.h"
#include "libwin32/Text.h"
#include "libwin32/Win32Error.h"

#include <windows.h>

namespace kelvane {

ProductType systemProductType() noexcept {
    switch (windowsProductType()) {
    case VER_NT_DOMAIN_CONTROLLER:
        return ProductType::DomainController;
    case VER_NT_SERVER:
        return ProductType::Server;
    default:
        return ProductType::Workstation;
    }
}

std::uint32_t systemBuildNumber() noexcept { return windowsVersion().build; }

std::wstring systemName() {
    try {
        return RegKey(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion")
            .readString(L"ProductName");
    } catch (const win32::Win32Error& error) {
        userLog(win32::TraceLevel::Error, error.what());
        const auto version = windowsVersion();
        return win32::formatText(L"Windows %u.%u", version.major, version.minor);
    }
}

std::wstring_view systemBitness() noexcept {
    SYSTEM_INFO information{};
    GetNativeSystemInfo(&information);
    return bitnessName(information.wProcessorArchitecture);
}

std::wstring_view bitnessName(std::uint16_t processorArchitecture) noexcept {
    switch (processorArchitecture) {
    case 0:
        return L"x86";
    case 9:
        return L"x64";
    case 12:
        return L"ARM64";
    default:
        return L"Unknown";
    }
}

} // namespace kelvane
