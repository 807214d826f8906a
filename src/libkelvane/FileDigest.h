#pragma once

#include <windows.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace kelvane {

// What a file holds, short enough to be kept. The default is no file's.
struct FileDigest {
    std::uint64_t size = 0; // bytes
    std::wstring sha256{};  // 64 lower-case hexadecimal characters
    bool operator==(const FileDigest&) const = default;
};

// Reads an open file from its start, block by block. Throws Win32Error.
class BlockReader {
public:
    explicit BlockReader(HANDLE file);

    // Empty at the end. Valid until the next call.
    std::string_view next();

private:
    HANDLE file_;
    std::vector<char> block_;
};

// Of an open file, read from its start to its end. Throws Win32Error.
FileDigest digestOf(HANDLE file);

} // namespace kelvane
