#pragma once

#include <string>

namespace win32 {

// Writes the payload that this executable carries (resource 102 of type RT_RCDATA) to a file, overwriting what is
// there. Throws Win32Error with the failing call's name, function "getResource".
void getResource(const std::wstring& path);

} // namespace win32
