#include "libkelvane/WindowsVersion.h"

#include <windows.h>

// Declared for drivers only.
extern "C" NTSYSAPI LONG NTAPI RtlGetVersion(RTL_OSVERSIONINFOW* version);

namespace kelvane {
namespace {

RTL_OSVERSIONINFOEXW kernelVersion() noexcept {
    RTL_OSVERSIONINFOEXW version{};
    version.dwOSVersionInfoSize = sizeof(version);
    RtlGetVersion(reinterpret_cast<RTL_OSVERSIONINFOW*>(&version));
    return version;
}

} // namespace

WindowsVersion windowsVersion() noexcept {
    const auto version = kernelVersion();
    return {version.dwMajorVersion, version.dwMinorVersion, version.dwBuildNumber};
}

std::uint8_t windowsProductType() noexcept { return kernelVersion().wProductType; }

} // namespace kelvane
