#include "ComputerInformation/NetworkInfo.h"

#include "libkelvane/PathUtils.h"
#include "libwin32/Handles.h"
#include "libwin32/Win32Error.h"

// clang-format off
#include <winsock2.h>
#include <windows.h>
#include <iphlpapi.h>
// clang-format on

#include <cstddef>
#include <cstdio>

namespace kelvane {
namespace {

constexpr ULONG flags =
    GAA_FLAG_SKIP_UNICAST | GAA_FLAG_SKIP_ANYCAST | GAA_FLAG_SKIP_MULTICAST | GAA_FLAG_SKIP_DNS_SERVER;
constexpr std::size_t macLength = 6;
// IF_TYPE_WWANPP and IF_TYPE_WWANPP2, which the compiler's headers lack.
constexpr std::uint32_t mobileByGsm = 243;
constexpr std::uint32_t mobileByCdma = 244;

std::string macText(const BYTE (&mac)[MAX_ADAPTER_ADDRESS_LENGTH]) {
    char text[3 * macLength];
    std::snprintf(text, sizeof text, "%02x:%02x:%02x:%02x:%02x:%02x", mac[0], mac[1], mac[2], mac[3], mac[4], mac[5]);
    return text;
}

// The list of all adapters, in a block that is large enough for it.
std::vector<std::max_align_t> readAdapters() {
    // Not in the import table: the library is no system-wide known one.
    const auto path = PathUtils::systemDirectory() / L"iphlpapi.dll";
    const win32::UniqueModule library(LoadLibraryExW(path.c_str(), nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32));
    win32::check(static_cast<bool>(library), "LoadLibraryEx");
    const auto function = GetProcAddress(library.get(), "GetAdaptersAddresses");
    win32::check(function != nullptr, "GetProcAddress");
    const auto getAdapters = reinterpret_cast<decltype(&GetAdaptersAddresses)>(reinterpret_cast<void*>(function));
    ULONG size = 16 * 1024;
    while (true) {
        std::vector<std::max_align_t> block(size / sizeof(std::max_align_t) + 1);
        const ULONG result =
            getAdapters(AF_UNSPEC, flags, nullptr, reinterpret_cast<IP_ADAPTER_ADDRESSES*>(block.data()), &size);
        if (result == ERROR_NO_DATA) return std::vector<std::max_align_t>();
        if (result != ERROR_BUFFER_OVERFLOW) win32::checkCode(static_cast<long>(result), "GetAdaptersAddresses");
        if (result == ERROR_SUCCESS) return block;
    }
}

} // namespace

std::string_view adapterTypeName(std::uint32_t interfaceType) noexcept {
    switch (interfaceType) {
    case IF_TYPE_ETHERNET_CSMACD:
        return "wired";
    case IF_TYPE_IEEE80211:
        return "wireless";
    case mobileByGsm:
    case mobileByCdma:
        return "cellular";
    default:
        return "";
    }
}

std::vector<NetworkAdapter> networkAdapters() {
    std::vector<NetworkAdapter> found;
    const auto block = readAdapters();
    if (block.empty()) return found;
    for (auto* one = reinterpret_cast<const IP_ADAPTER_ADDRESSES*>(block.data()); one; one = one->Next) {
        const auto type = adapterTypeName(one->IfType);
        if (!type.empty() && one->PhysicalAddressLength == macLength) {
            found.push_back({type, macText(one->PhysicalAddress)});
        }
    }
    return found;
}

} // namespace kelvane
