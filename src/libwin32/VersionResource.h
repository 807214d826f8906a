#pragma once

#include <array>
#include <cstdint>
#include <string>

namespace win32 {

// The file version in the version resource of an executable: major, minor, build, revision.
// Throws Win32Error; a file without such a resource is one of its errors.
std::array<std::uint16_t, 4> fileVersion(const std::wstring& path);

} // namespace win32
