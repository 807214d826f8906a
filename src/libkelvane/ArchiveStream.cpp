#include "libkelvane/ArchiveStream.h"

namespace kelvane {
namespace {

ArchiveStream& streamOf(voidpf opaque) { return *static_cast<ArchiveStream*>(opaque); }

bool succeeded(ArchiveStream& stream, BOOL done) {
    if (!done && stream.error == 0) stream.error = GetLastError();
    return done;
}

voidpf ZCALLBACK open(voidpf opaque, const void*, int) { return opaque; }

uLong ZCALLBACK read(voidpf opaque, voidpf, void* buffer, uLong size) {
    ArchiveStream& stream = streamOf(opaque);
    OVERLAPPED place{};
    place.Offset = static_cast<DWORD>(stream.position);
    place.OffsetHigh = static_cast<DWORD>(stream.position >> 32);
    DWORD length = 0;
    const BOOL done = ReadFile(stream.file, buffer, size, &length, &place);
    if (!succeeded(stream, done || GetLastError() == ERROR_HANDLE_EOF)) return 0;
    stream.position += length;
    return length;
}

uLong ZCALLBACK write(voidpf, voidpf, const void*, uLong) { return 0; }

ZPOS64_T ZCALLBACK tell(voidpf opaque, voidpf) { return streamOf(opaque).position; }

long ZCALLBACK seek(voidpf opaque, voidpf, ZPOS64_T offset, int origin) {
    ArchiveStream& stream = streamOf(opaque);
    LARGE_INTEGER size{};
    if (!succeeded(stream, GetFileSizeEx(stream.file, &size))) return -1;
    const auto end = static_cast<std::uint64_t>(size.QuadPart);
    const std::uint64_t starts[] = {0, stream.position, end};
    // A damaged archive names places that it does not have.
    const std::uint64_t position = starts[origin] + offset;
    if (position > end) return -1;
    stream.position = position;
    return 0;
}

int ZCALLBACK close(voidpf, voidpf) { return 0; }

int ZCALLBACK failed(voidpf opaque, voidpf) { return streamOf(opaque).error != 0; }

} // namespace

zlib_filefunc64_def ArchiveStream::functions() {
    static_assert(ZLIB_FILEFUNC_SEEK_SET == 0 && ZLIB_FILEFUNC_SEEK_CUR == 1 && ZLIB_FILEFUNC_SEEK_END == 2);
    return {open, read, write, tell, seek, close, failed, this};
}

} // namespace kelvane
