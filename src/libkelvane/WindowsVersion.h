#pragma once

#include <compare>
#include <cstdint>

namespace kelvane {

struct WindowsVersion {
    std::uint32_t major = 0;
    std::uint32_t minor = 0;
    std::uint32_t build = 0;

    auto operator<=>(const WindowsVersion&) const = default;
};

// The version that the kernel states (RtlGetVersion): no manifest and no compatibility setting changes it.
WindowsVersion windowsVersion() noexcept;

// VER_NT_WORKSTATION, VER_NT_DOMAIN_CONTROLLER or VER_NT_SERVER.
std::uint8_t windowsProductType() noexcept;

} // namespace kelvane
