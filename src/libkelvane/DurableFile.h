#pragma once

#include <filesystem>
#include <string_view>

namespace kelvane::FileUtilities {

// Puts content in a file's place for administrators only, whole or not at all: after a power cut at any moment the file
// holds either what it held before or the new content. The content is on the disk when this returns. Throws Win32Error.
void replaceDurably(const std::filesystem::path& path, std::string_view content);

} // namespace kelvane::FileUtilities
