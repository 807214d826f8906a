#pragma once

#include <stdexcept>

namespace win32 {

// The child process was still running when the wait for it ended.
class TimeoutError : public std::runtime_error {
public:
    TimeoutError() : std::runtime_error("The child process did not end in time.") {}
};

// The wait was abandoned through the cancel event.
class CanceledError : public std::runtime_error {
public:
    CanceledError() : std::runtime_error("The wait for the child process was canceled.") {}
};

// A read is still in progress.
class StillPendingError : public std::runtime_error {
public:
    StillPendingError() : std::runtime_error("The read is still pending.") {}
};

// The result of a read was taken before, or no read was started.
class AlreadyReadError : public std::runtime_error {
public:
    AlreadyReadError() : std::runtime_error("The result was already read.") {}
};

// The last writer has closed its end of the pipe, and all that it wrote has been read.
class BrokenPipeError : public std::runtime_error {
public:
    BrokenPipeError() : std::runtime_error("The pipe was closed by its writer.") {}
};

} // namespace win32
