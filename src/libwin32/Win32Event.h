#pragma once

#include "libwin32/Handles.h"

namespace win32 {

// Something with a handle that becomes signalled.
class Waitable {
public:
    virtual ~Waitable() = default;
    virtual HANDLE handle() const noexcept = 0;
    bool isSignalled() const noexcept { return WaitForSingleObject(handle(), 0) == WAIT_OBJECT_0; }
};

// An event that stays set until it is reset. All calls throw Win32Error and may come from any thread.
class Win32Event : public Waitable {
public:
    Win32Event();

    HANDLE handle() const noexcept override { return event_.get(); }
    void set();
    void reset();

private:
    UniqueHandle event_;
};

} // namespace win32
