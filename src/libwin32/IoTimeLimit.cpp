#include "libwin32/IoTimeLimit.h"

#include "libwin32/Win32Error.h"

namespace win32 {
namespace {

constexpr std::int64_t ticksPerMs = 10'000;
// An operation that begins after the end of the time is called back as well.
constexpr DWORD repeatMs = 100;

} // namespace

IoTimeLimit::IoTimeLimit(std::uint32_t milliseconds) : timer_(CreateThreadpoolTimer(&onTimer, this, nullptr)) {
    check(timer_ != nullptr, "CreateThreadpoolTimer");
    DuplicateHandle(GetCurrentProcess(), GetCurrentThread(), GetCurrentProcess(), thread_.put(), 0, FALSE,
                    DUPLICATE_SAME_ACCESS);
    const std::int64_t relative = -ticksPerMs * milliseconds;
    FILETIME due{static_cast<DWORD>(relative), static_cast<DWORD>(relative >> 32)};
    SetThreadpoolTimer(timer_, &due, repeatMs, 0);
}

IoTimeLimit::~IoTimeLimit() {
    SetThreadpoolTimer(timer_, nullptr, 0, 0);
    WaitForThreadpoolTimerCallbacks(timer_, TRUE);
    CloseThreadpoolTimer(timer_);
}

void CALLBACK IoTimeLimit::onTimer(PTP_CALLBACK_INSTANCE, void* context, PTP_TIMER) {
    auto* limit = static_cast<IoTimeLimit*>(context);
    limit->expired_ = true;
    CancelSynchronousIo(limit->thread_.get());
}

} // namespace win32
