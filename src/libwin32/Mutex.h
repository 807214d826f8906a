#pragma once

#include "libwin32/Handles.h"

#include <cstdint>
#include <string>

namespace win32 {

// A named mutex. Closing it does not release it.
class Mutex {
public:
    // Creates the mutex without taking it, or opens the existing one. Throws Win32Error.
    Mutex(const std::wstring& name, SECURITY_ATTRIBUTES* attributes);

    // True only when the mutex was acquired within the time, in milliseconds. A mutex abandoned by a dead owner counts
    // as not acquired; that, the end of the time and a failure are told to the failure hook.
    bool wait(std::uint32_t timeoutMs) noexcept;
    // Releases the mutex when wait() has acquired it. Throws Win32Error.
    void release();

private:
    UniqueHandle handle_;
    bool owned_ = false;
};

} // namespace win32
