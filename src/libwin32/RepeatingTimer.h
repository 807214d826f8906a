#pragma once

#include <windows.h>

#include <cstdint>
#include <functional>

namespace win32 {

// Calls a function after a time and then again and again, on a thread of the pool. No call goes on when the object is
// gone. Throws Win32Error "CreateThreadpoolTimer".
class RepeatingTimer {
public:
    // The call must not throw.
    RepeatingTimer(std::uint32_t firstMs, std::uint32_t repeatMs, std::function<void()> call);
    ~RepeatingTimer();
    RepeatingTimer(const RepeatingTimer&) = delete;
    RepeatingTimer& operator=(const RepeatingTimer&) = delete;

private:
    static void CALLBACK onTimer(PTP_CALLBACK_INSTANCE instance, void* context, PTP_TIMER timer);

    std::function<void()> call_;
    PTP_TIMER timer_;
};

} // namespace win32
