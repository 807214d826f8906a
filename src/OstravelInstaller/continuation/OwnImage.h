#pragma once

#include "libkelvane/FileDigest.h"

#include <filesystem>

// The file of the running program. While it is held nobody changes, exchanges or removes it, so that what the next boot
// starts is what runs now.
namespace kelvane::bst {

// To be called before anything else that takes time; holds the file until the process ends. That it cannot be opened is
// known, and a failure, only when it is to be copied.
void holdOwnImage() noexcept;

// The program's full path; empty when it could not be had.
const std::filesystem::path& ownImagePath() noexcept;

// What the held file holds. Throws Win32Error.
FileDigest ownImageDigest();

// Writes the held file's content to a new file for administrators only, on the disk when this returns, compares the
// two, and returns what the new one holds. Throws Win32Error.
FileDigest copyOwnImage(const std::filesystem::path& to);

} // namespace kelvane::bst
