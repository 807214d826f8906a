#pragma once

#include "libwin32/Win32Error.h"

#include <windows.h>

// Libraries that Windows does not keep loaded are loaded at the program's first call of them (delay loading). One that
// cannot be had, or lacks the function, is an error of that call: Win32Error "WinHttpOpen of winhttp.dll" in the
// caller.
namespace win32 {

// Looks up all functions that the program calls of the libraries that the HTTP library uses, so that none of them can
// be missing later, on threads and in callbacks that must not throw. Throws Win32Error for the first that is.
void lookUpHttpFunctions();

// The status of a call in a place that must not throw: a function that cannot be had answers with the error as HRESULT.
template <class Call>
long statusOf(const Call& call) noexcept {
    try {
        return call();
    } catch (const Win32Error& error) {
        return HRESULT_FROM_WIN32(error.code());
    }
}

} // namespace win32
