#pragma once

#include <string>

namespace kelvane {

// A newly generated GUID in text form, 36 characters without braces. Throws Win32Error "CoCreateGuid".
std::wstring newGuid();

} // namespace kelvane
