#pragma once

#include "libwin32/Win32Event.h"

#include <atomic>
#include <memory>
#include <optional>

namespace kelvane::bst {

// A top-level window that nobody sees and that refuses the end of the session, on a thread of its own.
class SessionEndGuard {
public:
    SessionEndGuard(); // Throws Win32Error "CreateThread", and of the event
    ~SessionEndGuard();
    SessionEndGuard(const SessionEndGuard&) = delete;
    SessionEndGuard& operator=(const SessionEndGuard&) = delete;

private:
    // The thread's too: it may begin, and end, when this object is gone.
    struct Shared {
        win32::Win32Event ready;
        std::atomic<bool> over = false;
    };
    static DWORD WINAPI run(void* shared);

    std::shared_ptr<Shared> shared_ = std::make_shared<Shared>();
    DWORD threadId_ = 0;
    win32::UniqueHandle thread_;
};

// While it lives the run is not to be broken off half done: Ctrl+C, Ctrl+Break and a log-off are refused and logged,
// the console's close button is off, and the machine does not go to sleep by itself. What cannot be had is left out.
// Lives and ends on the same thread.
class Uninterrupted {
public:
    Uninterrupted() noexcept;
    ~Uninterrupted();
    Uninterrupted(const Uninterrupted&) = delete;
    Uninterrupted& operator=(const Uninterrupted&) = delete;

private:
    std::optional<SessionEndGuard> sessionEnd_;
};

} // namespace kelvane::bst
