#pragma once

#include "libwin32/Win32Error.h"

#include <windows.h>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <source_location>
#include <stdexcept>
#include <string_view>

namespace kelvane {

struct ArchiveStream;
struct ZipEntry;

// An archive that cannot be read as a whole; location() tells which function asked for it.
class ZipError : public std::logic_error {
public:
    ZipError(const char* text, const std::source_location& place) : std::logic_error(text), location_(place) {}
    const win32::ErrorLocation& location() const { return location_; }

private:
    win32::ErrorLocation location_;
};

// Told again and again how much of the archive has been read, in percent.
using ExtractionProgress = std::function<void(unsigned percent)>;

// A ZIP archive, read through the handle of an open file, with a current entry. Throws Win32Error "ReadFile", ZipError
// "Zip file could not be opened." or "unzGetGlobalInfo64 Failed".
class ZipFile {
public:
    explicit ZipFile(HANDLE file, const std::source_location& place = std::source_location::current());
    ~ZipFile();
    ZipFile(const ZipFile&) = delete;
    ZipFile& operator=(const ZipFile&) = delete;

    std::uint64_t entryCount() const { return entryCount_; }
    // Unpacks each entry below the destination. An entry that is damaged, or may not be extracted, is logged and passed
    // over, and leaves no file. Returns false when the list of entries is broken. Throws Win32Error "ReadFile",
    // filesystem_error "create_directories", std::system_error "CreateFileW failed.", and what writeAll throws.
    bool extractAll(const std::filesystem::path& destination, const ExtractionProgress& progress = {});

private:
    void tellProgress() const;
    bool extractCurrent(const ZipEntry& entry, const std::filesystem::path& destination);
    bool extractData(const std::filesystem::path& output, std::uint64_t size);
    bool copyData(HANDLE output, std::uint64_t size);
    void checkReading() const;

    std::unique_ptr<ArchiveStream> stream_;
    void* archive_; // unzFile
    std::uint64_t entryCount_ = 0;
    std::uint64_t size_ = 0;
    ExtractionProgress progress_;
};

// Whether an entry of this name stays below the folder that it is unpacked to, as a file that Windows can hold:
// relative, without "..", drive, stream, device name, or a character or ending that a file name cannot have.
bool isSafeEntryName(std::wstring_view name);

// Unpacks the archive in an open file below the destination, which is created when it is missing. As
// ZipFile::extractAll.
bool UnzipFile(HANDLE zip, const std::filesystem::path& destination, const ExtractionProgress& progress = {});

} // namespace kelvane
