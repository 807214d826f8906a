#pragma once

#include <windows.h>

#include <cstdint>
#include <functional>
#include <string>

namespace win32 {

// Whether an error code says that nothing stands at a path: not the file, not its folder, not the machine that it is
// on.
bool isNotFound(std::uint32_t code);

// A reparse point that stands for another place: a symbolic link or a mount point, not a cloud or deduplicated file.
bool isLink(std::uint32_t attributes, std::uint32_t reparseTag);

// Deletes what stands at `path`: a file, a link as a link, or a directory with all it holds. Every entry is opened
// relative to the open directory that holds it and judged by its handle, so nothing that is exchanged for a link
// meanwhile leads out of the tree. What cannot be deleted is left, told to `onFailure` and passed over; so is what is
// left after 15 seconds. A read-only file of several names changes none of its attributes: on a system that cannot
// delete it so it is left. Returns 0, also when nothing stands there, or the Windows error code of the first failure.
// Throws Win32Error "CreateThreadpoolTimer".
std::uint32_t deleteTree(const std::wstring& path,
                         const std::function<void(const std::wstring& path, std::uint32_t code)>& onFailure);

// Deletes a file that is not read-only through its handle (DELETE). False and the last error on failure.
bool deleteOpenFile(HANDLE file);

} // namespace win32
