#include "libkelvane/FileStream.h"

#include "libkelvane/PathUtils.h"
#include "libwin32/Win32Error.h"

#include <streambuf>
#include <vector>

namespace kelvane {
namespace {

class FileBuffer : public std::streambuf {
public:
    explicit FileBuffer(win32::UniqueHandle file) : file_(std::move(file)), bytes_(1 << 16) {}

protected:
    int_type underflow() override {
        OVERLAPPED place{};
        place.Offset = static_cast<DWORD>(next_);
        place.OffsetHigh = static_cast<DWORD>(next_ >> 32);
        DWORD length = 0;
        const BOOL done = ReadFile(file_.get(), bytes_.data(), static_cast<DWORD>(bytes_.size()), &length, &place);
        win32::check(done || GetLastError() == ERROR_HANDLE_EOF, "ReadFile");
        next_ += length;
        setg(bytes_.data(), bytes_.data(), bytes_.data() + length);
        return length == 0 ? traits_type::eof() : traits_type::to_int_type(bytes_.front());
    }
    pos_type seekoff(off_type offset, std::ios_base::seekdir from, std::ios_base::openmode) override {
        if (from != std::ios_base::beg || offset < 0) return pos_type(off_type(-1));
        next_ = static_cast<std::uint64_t>(offset);
        setg(nullptr, nullptr, nullptr);
        return pos_type(offset);
    }
    pos_type seekpos(pos_type position, std::ios_base::openmode which) override {
        return seekoff(off_type(position), std::ios_base::beg, which);
    }

private:
    win32::UniqueHandle file_;
    std::vector<char> bytes_;
    std::uint64_t next_ = 0; // where in the file the bytes after the buffered ones are
};

class FileStream : public std::istream {
public:
    explicit FileStream(win32::UniqueHandle file) : std::istream(nullptr), buffer_(std::move(file)) { rdbuf(&buffer_); }

private:
    FileBuffer buffer_;
};

} // namespace

win32::UniqueHandle openForReading(const std::filesystem::path& path) {
    win32::UniqueHandle file(CreateFileW(PathUtils::longPath(path).c_str(), GENERIC_READ,
                                         FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                                         FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
    win32::check(bool(file), "openForReading");
    return file;
}

std::uint64_t sizeOf(HANDLE file) {
    LARGE_INTEGER size{};
    win32::check(GetFileSizeEx(file, &size), "GetFileSizeEx");
    return static_cast<std::uint64_t>(size.QuadPart);
}

win32::UniqueHandle duplicate(HANDLE file) {
    win32::UniqueHandle copy;
    const HANDLE process = GetCurrentProcess();
    win32::check(DuplicateHandle(process, file, process, copy.put(), 0, FALSE, DUPLICATE_SAME_ACCESS),
                 "DuplicateHandle");
    return copy;
}

std::unique_ptr<std::istream> streamOf(win32::UniqueHandle file) {
    return std::make_unique<FileStream>(std::move(file));
}

} // namespace kelvane
