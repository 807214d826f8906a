#include "libwin32/RepeatingTimer.h"

#include "libwin32/Win32Error.h"

#include <utility>

namespace win32 {
namespace {

constexpr std::int64_t ticksPerMs = 10'000;

} // namespace

RepeatingTimer::RepeatingTimer(std::uint32_t firstMs, std::uint32_t repeatMs, std::function<void()> call)
    : call_(std::move(call)), timer_(CreateThreadpoolTimer(&onTimer, this, nullptr)) {
    check(timer_ != nullptr, "CreateThreadpoolTimer");
    const std::int64_t relative = -ticksPerMs * firstMs;
    FILETIME due{static_cast<DWORD>(relative), static_cast<DWORD>(relative >> 32)};
    SetThreadpoolTimer(timer_, &due, repeatMs, 0);
}

RepeatingTimer::~RepeatingTimer() {
    SetThreadpoolTimer(timer_, nullptr, 0, 0);
    WaitForThreadpoolTimerCallbacks(timer_, TRUE);
    CloseThreadpoolTimer(timer_);
}

void CALLBACK RepeatingTimer::onTimer(PTP_CALLBACK_INSTANCE, void* context, PTP_TIMER) {
    static_cast<RepeatingTimer*>(context)->call_();
}

} // namespace win32
