#pragma once

#include <cstdint>
#include <string>
#include <string_view>

// What system runs here.
namespace kelvane {

enum class ProductType { Workstation, DomainController, Server };

ProductType systemProductType() noexcept;
std::uint32_t systemBuildNumber() noexcept;
// The system's own name of itself ("Windows 10 Pro"); "Windows MAJOR.MINOR" when it keeps none.
std::wstring systemName();
// "x86", "x64", "ARM64" or "Unknown", of the machine, whatever this program was built for.
std::wstring_view systemBitness() noexcept;
std::wstring_view bitnessName(std::uint16_t processorArchitecture) noexcept;

} // namespace kelvane
