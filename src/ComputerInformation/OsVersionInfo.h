#pragma once

#include <cstdint>
#include <string>
#include <string_view>

// What system runs here.
namespace kelvane {

enum class ProductType { Workstation, DomainController, Server };

ProductType systemProductType() noexcept;
std::uint32_t systemBuildNumber() noexcept;
// The system's own name of itself ("Windows 11 Pro"); "Windows MAJOR.MINOR" when it keeps none.
std::wstring systemName();
// The product name that the registry keeps, put right where it still says "Windows 10" of a workstation's Windows 11.
std::wstring currentProductName(std::wstring registered, ProductType type, std::uint32_t build);
// "x86", "x64", "ARM64" or "Unknown", of the machine, also under emulation.
std::wstring_view systemBitness() noexcept;
std::wstring_view bitnessName(std::uint16_t processorArchitecture) noexcept;

} // namespace kelvane
