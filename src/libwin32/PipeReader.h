#pragma once

#include "libwin32/OverlappedRead.h"

#include <string>

namespace win32 {

// Collects all that is written into a pipe, until its last writer closes it or finish() is called.
class PipeReader {
public:
    // Takes the server end of a pipe opened for overlapped reading, and begins to read.
    explicit PipeReader(UniqueHandle pipe);

    bool ended() const noexcept { return state_ != State::Pending; }
    // Signalled when receive() has something to take.
    const Waitable& ready() const noexcept { return read_.finished(); }
    // Takes what the finished read has got and begins the next. Throws StillPendingError, Win32Error.
    void receive();
    // Takes what has been written so far and reads no further: a process that outlives the child may hold the pipe
    // open for ever. Throws Win32Error.
    void finish();
    // The whole output, once. Throws StillPendingError before the end, AlreadyReadError the second time.
    std::string takeOutput();

private:
    enum class State { Pending, Finished, Consumed };
    void append();

    UniqueHandle pipe_;
    OverlappedRead read_;
    std::string output_;
    State state_ = State::Pending;
};

} // namespace win32
