#include "libwin32/OverlappedRead.h"

#include "libwin32/Win32Error.h"

namespace win32 {
namespace {

constexpr DWORD bufferSize = 65536;

} // namespace

OverlappedRead::OverlappedRead(HANDLE file) : file_(file), buffer_(bufferSize) {}

void OverlappedRead::start() {
    if (!consumed_) throw StillPendingError();
    finished_.reset();
    overlapped_ = {};
    overlapped_.hEvent = finished_.handle();
    const bool done = ReadFile(file_, buffer_.data(), bufferSize, nullptr, &overlapped_);
    const DWORD error = done ? ERROR_SUCCESS : GetLastError();
    startError_ = error == ERROR_IO_PENDING ? ERROR_SUCCESS : error;
    consumed_ = false;
    // A read that was refused at once leaves its event alone.
    if (startError_ != ERROR_SUCCESS) finished_.set();
}

std::string OverlappedRead::take() {
    if (consumed_) throw AlreadyReadError();
    DWORD length = 0;
    const DWORD error = outcome(length, FALSE);
    if (error == ERROR_IO_INCOMPLETE) throw StillPendingError();
    consumed_ = true;
    if (error == ERROR_BROKEN_PIPE) throw BrokenPipeError();
    if (error != ERROR_OPERATION_ABORTED) checkCode(static_cast<long>(error), "ReadFile");
    return {buffer_.data(), length};
}

void OverlappedRead::cancel() noexcept {
    if (consumed_ || startError_ != ERROR_SUCCESS) return;
    CancelIoEx(file_, &overlapped_);
    // The system owns the buffer until the read has really ended.
    DWORD length = 0;
    outcome(length, TRUE);
}

DWORD OverlappedRead::outcome(DWORD& length, BOOL wait) noexcept {
    if (startError_ != ERROR_SUCCESS) return startError_;
    return GetOverlappedResult(file_, &overlapped_, &length, wait) ? ERROR_SUCCESS : GetLastError();
}

} // namespace win32
