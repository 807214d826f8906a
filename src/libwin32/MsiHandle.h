#pragma once

#include "libwin32/Handles.h"

#include <windows.h>

#include <msi.h>

namespace win32 {

struct MsiTraits {
    using Type = MSIHANDLE;
    static bool isValid(MSIHANDLE handle) { return handle != 0; }
    static void close(MSIHANDLE handle) { MsiCloseHandle(handle); }
};
using UniqueMsi = UniqueResource<MsiTraits>;

} // namespace win32
