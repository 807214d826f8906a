#include "libkelvane/FileWriter.h"

#include "libwin32/Win32Error.h"

#include <algorithm>
#include <cstdint>
#include <stdexcept>

namespace kelvane {

void writeAll(HANDLE file, const void* data, std::size_t size) {
    constexpr std::size_t mostAtOnce = 1 << 20;
    const auto* bytes = static_cast<const std::uint8_t*>(data);
    for (std::size_t offset = 0; offset < size;) {
        const auto length = static_cast<DWORD>(std::min(size - offset, mostAtOnce));
        DWORD written = 0;
        win32::check(WriteFile(file, bytes + offset, length, &written, nullptr), "WriteFile");
        if (written != length) throw std::runtime_error("could_not_write_entire_data");
        offset += length;
    }
}

void FileWriter::flush() { win32::check(FlushFileBuffers(file_.get()), "FlushFileBuffers"); }

} // namespace kelvane
