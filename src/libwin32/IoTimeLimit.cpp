#include "libwin32/IoTimeLimit.h"

namespace win32 {
namespace {

// An operation that begins after the end of the time is called back as well.
constexpr std::uint32_t repeatMs = 100;

UniqueHandle currentThread() {
    UniqueHandle thread;
    DuplicateHandle(GetCurrentProcess(), GetCurrentThread(), GetCurrentProcess(), thread.put(), 0, FALSE,
                    DUPLICATE_SAME_ACCESS);
    return thread;
}

} // namespace

IoTimeLimit::IoTimeLimit(std::uint32_t milliseconds)
    : thread_(currentThread()), timer_(milliseconds, repeatMs, [this] { expire(); }) {}

void IoTimeLimit::expire() noexcept {
    expired_ = true;
    CancelSynchronousIo(thread_.get());
}

} // namespace win32
