#pragma once

#include "libwin32/Handles.h"

#include <cstddef>

namespace kelvane {

// Writes all of it to an open file, at its position. Throws Win32Error "WriteFile"; when the system reports success and
// yet wrote less, std::runtime_error "could_not_write_entire_data".
void writeAll(HANDLE file, const void* data, std::size_t size);

// Writes to an open file, front to back.
class FileWriter {
public:
    explicit FileWriter(win32::UniqueHandle file) : file_(std::move(file)) {}

    // As writeAll.
    void write(const void* data, std::size_t size) { writeAll(file_.get(), data, size); }
    // What was written is on the disk when this returns. Throws Win32Error "FlushFileBuffers".
    void flush();

private:
    win32::UniqueHandle file_;
};

} // namespace kelvane
