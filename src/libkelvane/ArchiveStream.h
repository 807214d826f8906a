#pragma once

#include <windows.h>

// after the types that it uses
#include <unzip.h>

#include <cstdint>

namespace kelvane {

// An open file as the ZIP reader reads it: by its handle, from a position of the stream's own.
struct ArchiveStream {
    HANDLE file = nullptr;
    std::uint64_t position = 0;
    std::uint32_t error = 0; // of the first read that failed

    zlib_filefunc64_def functions();
};

} // namespace kelvane
