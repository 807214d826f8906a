#include "ComputerInformation/OsVersionInfo.h"

#include "libkelvane/RegKey.h"
#include "libkelvane/UserLog.h"
#include "libkelvane/WindowsVersion.h"
#include "libwin32/Text.h"
#include "libwin32/Win32Error.h"

#include <windows.h>

namespace kelvane {
namespace {

constexpr std::uint32_t firstBuildOfWindows11 = 22000;
constexpr std::uint16_t unknownArchitecture = 0xFFFF;

std::uint16_t architectureOfMachine(USHORT machine) {
    switch (machine) {
    case IMAGE_FILE_MACHINE_I386:
        return PROCESSOR_ARCHITECTURE_INTEL;
    case IMAGE_FILE_MACHINE_AMD64:
        return PROCESSOR_ARCHITECTURE_AMD64;
    case IMAGE_FILE_MACHINE_ARM64:
        return PROCESSOR_ARCHITECTURE_ARM64;
    default:
        return unknownArchitecture;
    }
}

// GetNativeSystemInfo tells an emulated program of the processor that it believes in. Systems before Windows 10 1709
// know no better, and emulate nothing.
std::uint16_t nativeArchitecture() {
    using Query = BOOL(WINAPI*)(HANDLE, USHORT*, USHORT*);
    const auto query = reinterpret_cast<Query>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "IsWow64Process2")));
    USHORT process = 0;
    USHORT machine = 0;
    if (query && query(GetCurrentProcess(), &process, &machine)) return architectureOfMachine(machine);
    SYSTEM_INFO information{};
    GetNativeSystemInfo(&information);
    return information.wProcessorArchitecture;
}

} // namespace

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
        const RegKey key(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion");
        return currentProductName(key.readString(L"ProductName"), systemProductType(), systemBuildNumber());
    } catch (const win32::Win32Error& error) {
        userLog(win32::TraceLevel::Error, error.what());
        const auto version = windowsVersion();
        return win32::formatText(L"Windows %u.%u", version.major, version.minor);
    }
}

std::wstring currentProductName(std::wstring registered, ProductType type, std::uint32_t build) {
    constexpr std::wstring_view formerName = L"Windows 10";
    if (type == ProductType::Workstation && build >= firstBuildOfWindows11 && registered.starts_with(formerName)) {
        registered.replace(0, formerName.size(), L"Windows 11");
    }
    return registered;
}

std::wstring_view systemBitness() noexcept { return bitnessName(nativeArchitecture()); }

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
