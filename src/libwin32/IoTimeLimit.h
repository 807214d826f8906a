#pragma once

#include "libwin32/Handles.h"
#include "libwin32/RepeatingTimer.h"

#include <atomic>
#include <cstdint>

namespace win32 {

// Bounds the file operations of the thread that makes this object, all together: whoever can open a file may hold up
// those that follow with an oplock, for ever. From the end of the time on, each of them fails with
// ERROR_OPERATION_ABORTED when it has to wait.
class IoTimeLimit {
public:
    explicit IoTimeLimit(std::uint32_t milliseconds);

    bool expired() const noexcept { return expired_; }

private:
    void expire() noexcept;

    UniqueHandle thread_;
    std::atomic<bool> expired_ = false;
    RepeatingTimer timer_; // goes first
};

} // namespace win32
