#include "libkelvane/MinifilterPort.h"

#include "libwin32/DelayLoad.h"

#include <fltuser.h>

namespace kelvane {

long MinifilterPort::open(const wchar_t* portName, std::uint32_t options) noexcept {
    return win32::statusOf(
        [&] { return FilterConnectCommunicationPort(portName, options, nullptr, 0, nullptr, port_.put()); });
}

} // namespace kelvane
