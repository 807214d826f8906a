#include "libkelvane/FileDigest.h"

#include "libkelvane/hash/wincrypt.h"
#include "libwin32/Win32Error.h"

namespace kelvane {
namespace {

constexpr DWORD blockSize = 1 << 20;

} // namespace

BlockReader::BlockReader(HANDLE file) : file_(file), block_(blockSize) {
    win32::check(SetFilePointerEx(file, {}, nullptr, FILE_BEGIN), "SetFilePointerEx");
}

std::string_view BlockReader::next() {
    DWORD length = 0;
    win32::check(ReadFile(file_, block_.data(), blockSize, &length, nullptr), "ReadFile");
    return {block_.data(), length};
}

FileDigest digestOf(HANDLE file) {
    FileDigest digest;
    hash::Hash sha256(CALG_SHA_256);
    BlockReader source(file);
    for (auto block = source.next(); !block.empty(); block = source.next()) {
        sha256.add(block.data(), block.size());
        digest.size += block.size();
    }
    digest.sha256 = sha256.text();
    return digest;
}

} // namespace kelvane
