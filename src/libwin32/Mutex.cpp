#include "libwin32/Mutex.h"

#include "libwin32/Win32Error.h"

#include <utility>

namespace win32 {
namespace {

DWORD errorOfWait(DWORD result) {
    switch (result) {
    case WAIT_FAILED:
        return GetLastError();
    case WAIT_ABANDONED:
        return ERROR_ABANDONED_WAIT_0;
    default:
        return result; // WAIT_TIMEOUT is an error code as it is
    }
}

} // namespace

Mutex::Mutex(const std::wstring& name, SECURITY_ATTRIBUTES* attributes)
    : handle_(CreateMutexW(attributes, FALSE, name.c_str())) {
    check(static_cast<bool>(handle_), "CreateMutex");
}

bool Mutex::wait(std::uint32_t timeoutMs) noexcept {
    const DWORD result = WaitForSingleObject(handle_.get(), timeoutMs);
    owned_ = result == WAIT_OBJECT_0;
    if (owned_) return true;
    try {
        throwWin32("WaitForSingleObject", errorOfWait(result));
    } catch (const std::exception&) {
        return false; // the hook has heard of it
    }
}

void Mutex::release() {
    if (std::exchange(owned_, false)) check(ReleaseMutex(handle_.get()) != FALSE, "ReleaseMutex");
}

} // namespace win32
