#include "libkelvane/MinifilterPort.h"

#include <fltuser.h>

namespace kelvane {

long MinifilterPort::open(const wchar_t* portName, std::uint32_t options) noexcept {
    return FilterConnectCommunicationPort(portName, options, nullptr, 0, nullptr, port_.put());
}

} // namespace kelvane
