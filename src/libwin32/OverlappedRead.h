#pragma once

#include "libwin32/SubprocessErrors.h"
#include "libwin32/Win32Event.h"

#include <string>
#include <vector>

namespace win32 {

// Reads of a handle opened for overlapped access, one at a time: pending from start() on, finished once its bytes have
// come, consumed by take(). A pending read is called back when the object goes; the handle must live until then.
class OverlappedRead {
public:
    explicit OverlappedRead(HANDLE file);
    ~OverlappedRead() { cancel(); }
    OverlappedRead(const OverlappedRead&) = delete;
    OverlappedRead& operator=(const OverlappedRead&) = delete;

    // Begins a read; what goes wrong with it is told by take(). Throws StillPendingError when one is not consumed yet.
    void start();
    // Signalled when the read is finished.
    const Waitable& finished() const noexcept { return finished_; }
    // The bytes of the finished read. Throws StillPendingError, AlreadyReadError, BrokenPipeError, Win32Error.
    std::string take();
    // Calls a pending read back: it is finished then, without bytes unless they came first.
    void cancel() noexcept;

private:
    DWORD outcome(DWORD& length, BOOL wait) noexcept;

    HANDLE file_;
    Win32Event finished_;
    OVERLAPPED overlapped_{};
    std::vector<char> buffer_;
    DWORD startError_ = ERROR_SUCCESS;
    bool consumed_ = true;
};

} // namespace win32
