#pragma once

#include "libwin32/Handles.h"

#include <cstdint>
#include <filesystem>
#include <istream>
#include <memory>

namespace kelvane {

// Opens a file for reading, also one that somebody goes on writing. Throws Win32Error "openForReading".
win32::UniqueHandle openForReading(const std::filesystem::path& path);
// The bytes in an open file now. Throws Win32Error "GetFileSizeEx".
std::uint64_t sizeOf(HANDLE file);
// Another handle of the same open file. Throws Win32Error "DuplicateHandle".
win32::UniqueHandle duplicate(HANDLE file);

// The open file as a stream of bytes from its start; it can be set back there. A read that fails sets badbit.
std::unique_ptr<std::istream> streamOf(win32::UniqueHandle file);

} // namespace kelvane
