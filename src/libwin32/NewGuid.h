#pragma once

#include <string>

namespace win32 {

// A newly generated GUID in text form, 36 characters without braces. Throws Win32Error "CoCreateGuid".
std::wstring newGuid();

} // namespace win32
