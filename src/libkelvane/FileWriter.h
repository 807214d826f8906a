#pragma once

#include "libwin32/Handles.h"

#include <cstddef>

namespace kelvane {

// Writes to an open file, front to back.
class FileWriter {
public:
    explicit FileWriter(win32::UniqueHandle file) : file_(std::move(file)) {}

    // Writes all of it. Throws Win32Error "WriteFile"; when the system reports success and yet wrote less,
    // std::runtime_error "could_not_write_entire_data".
    void write(const void* data, std::size_t size);
    // What was written is on the disk when this returns. Throws Win32Error "FlushFileBuffers".
    void flush();
    void close() { file_.reset(); }

private:
    win32::UniqueHandle file_;
};

} // namespace kelvane
