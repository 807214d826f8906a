#pragma once

#include "libwin32/Handles.h"

#include <atomic>
#include <cstdint>

namespace win32 {

// Bounds the file operations of the thread that makes this object, all together: whoever can open a file may hold up
// those that follow with an oplock, for ever. From the end of the time on, each of them fails with
// ERROR_OPERATION_ABORTED when it has to wait.
class IoTimeLimit {
public:
    explicit IoTimeLimit(std::uint32_t milliseconds);
    ~IoTimeLimit();
    IoTimeLimit(const IoTimeLimit&) = delete;
    IoTimeLimit& operator=(const IoTimeLimit&) = delete;

    bool expired() const noexcept { return expired_; }

private:
    static void CALLBACK onTimer(PTP_CALLBACK_INSTANCE instance, void* context, PTP_TIMER timer);

    UniqueHandle thread_;
    std::atomic<bool> expired_ = false;
    PTP_TIMER timer_;
};

} // namespace win32
