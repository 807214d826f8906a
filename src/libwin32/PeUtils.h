#pragma once

#include <windows.h>

namespace win32 {

// Writes the payload that this executable carries (resource 102 of type RT_RCDATA) to an open, empty file.
// Throws Win32Error with the failing call's name, function "getResource".
void getResource(HANDLE file);

} // namespace win32
