#include "libwin32/Win32Event.h"

#include "libwin32/Win32Error.h"

namespace win32 {

Win32Event::Win32Event() : event_(CreateEventW(nullptr, TRUE, FALSE, nullptr)) {
    check(static_cast<bool>(event_), "CreateEvent");
}

void Win32Event::set() { check(SetEvent(event_.get()), "SetEvent"); }

void Win32Event::reset() { check(ResetEvent(event_.get()), "ResetEvent"); }

} // namespace win32
