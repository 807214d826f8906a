#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// How this machine is connected.
namespace kelvane {

struct NetworkAdapter {
    std::string_view type; // "wired", "wireless" or "cellular"
    std::string macAddress;
};

// The adapters of those three types. Throws Win32Error.
std::vector<NetworkAdapter> networkAdapters();

// The type of an adapter by its interface type number (IANA's); empty for any other.
std::string_view adapterTypeName(std::uint32_t interfaceType) noexcept;

} // namespace kelvane
