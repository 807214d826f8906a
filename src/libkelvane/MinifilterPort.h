#pragma once

#include "libwin32/Handles.h"

#include <cstdint>

namespace kelvane {

// The connection to a minifilter driver's communication port; closed with the object.
class MinifilterPort {
public:
    // FilterConnectCommunicationPort without context data; `options` are its FLT_PORT_FLAG_ values. Returns its
    // HRESULT: 0x80070002 when the driver has closed the port or is not loaded.
    long open(const wchar_t* portName, std::uint32_t options = 0) noexcept;
    HANDLE handle() const noexcept { return port_.get(); }

private:
    win32::UniqueHandle port_;
};

} // namespace kelvane
