#include "libkelvane/ZipFile.h"

#include "libkelvane/ArchiveStream.h"
#include "libkelvane/FileUtilities.h"
#include "libkelvane/FileWriter.h"
#include "libkelvane/PathUtils.h"
#include "libkelvane/UserLog.h"
#include "libwin32/Handles.h"
#include "libwin32/Text.h"

#include <windows.h>

#include <optional>
#include <string>
#include <system_error>

namespace kelvane {

struct ZipEntry {
    unz_file_info64 header{};
    std::wstring name;

    bool isDirectory() const { return name.ends_with(L'/') || name.ends_with(L'\\'); }
    // A Unix archiver keeps the file's mode in the upper half of the attributes.
    bool isLink() const { return (header.external_fa >> 16 & 0170000) == 0120000; }
};

namespace {

using win32::TraceLevel;

// Names are UTF-8 where the entry's bit 11 says so, else in the code page of DOS.
std::wstring wideName(const std::string& name, uLong flags) {
    constexpr uLong utf8 = 1u << 11;
    if ((flags & utf8) != 0) return win32::toWide(name);
    constexpr UINT dosCodePage = 437;
    const int size = static_cast<int>(name.size());
    std::wstring wide(name.size(), L'\0');
    wide.resize(static_cast<std::size_t>(MultiByteToWideChar(dosCodePage, 0, name.data(), size, wide.data(), size)));
    return wide;
}

std::optional<ZipEntry> currentEntry(unzFile archive) {
    ZipEntry entry;
    if (unzGetCurrentFileInfo64(archive, &entry.header, nullptr, 0, nullptr, 0, nullptr, 0) != UNZ_OK) return {};
    std::string name(entry.header.size_filename, '\0');
    if (unzGetCurrentFileInfo64(archive, nullptr, name.data(), entry.header.size_filename, nullptr, 0, nullptr, 0) !=
        UNZ_OK) {
        return {};
    }
    entry.name = wideName(name, entry.header.flag);
    return entry;
}

// The current entry opened for reading.
class OpenEntry {
public:
    explicit OpenEntry(unzFile archive) : archive_(unzOpenCurrentFile(archive) == UNZ_OK ? archive : nullptr) {}
    ~OpenEntry() { close(); }
    OpenEntry(const OpenEntry&) = delete;
    OpenEntry& operator=(const OpenEntry&) = delete;

    explicit operator bool() const { return archive_ != nullptr; }
    // False when what was read does not have the entry's checksum.
    bool close() { return !archive_ || unzCloseCurrentFile(std::exchange(archive_, nullptr)) == UNZ_OK; }

private:
    unzFile archive_;
};

win32::UniqueHandle createOutput(const std::filesystem::path& path) {
    win32::UniqueHandle file(CreateFileW(PathUtils::longPath(path).c_str(), GENERIC_WRITE,
                                         FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, CREATE_ALWAYS,
                                         FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file) {
        throw std::system_error(static_cast<int>(GetLastError()), std::system_category(), "CreateFileW failed.");
    }
    return file;
}

} // namespace

ZipFile::ZipFile(HANDLE file, const std::source_location& place)
    : stream_(std::make_unique<ArchiveStream>(ArchiveStream{.file = file})) {
    auto functions = stream_->functions();
    archive_ = unzOpen2_64(L"", &functions);
    if (!archive_) {
        checkReading();
        throw ZipError("Zip file could not be opened.", place);
    }
    unz_global_info64 info{};
    if (unzGetGlobalInfo64(archive_, &info) != UNZ_OK) {
        unzClose(archive_);
        throw ZipError("unzGetGlobalInfo64 Failed", place);
    }
    entryCount_ = info.number_entry;
    LARGE_INTEGER size{};
    if (GetFileSizeEx(file, &size)) size_ = static_cast<std::uint64_t>(size.QuadPart);
}

ZipFile::~ZipFile() {
    if (unzClose(archive_) != UNZ_OK) userLog(TraceLevel::Error, "unzClose failed");
}

bool ZipFile::extractAll(const std::filesystem::path& destination, const ExtractionProgress& progress) {
    progress_ = progress;
    if (entryCount_ == 0) return true;
    int result = unzGoToFirstFile(archive_);
    for (; result == UNZ_OK; result = unzGoToNextFile(archive_)) {
        const auto entry = currentEntry(archive_);
        if (entry && extractCurrent(*entry, destination)) continue;
        checkReading();
        userLog(TraceLevel::Error, win32::formatText(L"UnzipFile: entry not extracted: %s", entry ? entry->name : L""));
    }
    checkReading();
    return result == UNZ_END_OF_LIST_OF_FILE;
}

// What the reader makes of a failed read is the end of the data.
void ZipFile::checkReading() const {
    if (stream_->error != 0) win32::throwWin32("ReadFile", stream_->error);
}

bool ZipFile::extractCurrent(const ZipEntry& entry, const std::filesystem::path& destination) {
    if (!isSafeEntryName(entry.name) || entry.isLink()) return false;
    const auto output = destination / entry.name;
    if (entry.isDirectory()) {
        FileUtilities::createDirectories(output);
        return true;
    }
    FileUtilities::createDirectories(output.parent_path());
    return extractData(output, entry.header.uncompressed_size);
}

bool ZipFile::extractData(const std::filesystem::path& output, std::uint64_t size) {
    OpenEntry entry(archive_);
    if (!entry) return false;
    auto file = createOutput(output);
    const bool complete = copyData(file.get(), size);
    const bool intact = entry.close();
    file.reset();
    if (complete && intact) return true;
    // Nobody is to take half a file for the whole.
    FileUtilities::deleteFileWithCallback(output, {});
    return false;
}

bool ZipFile::copyData(HANDLE output, std::uint64_t size) {
    constexpr unsigned blockSize = 256 * 1024;
    const auto block = std::make_unique<char[]>(blockSize);
    std::uint64_t total = 0;
    while (true) {
        const int length = unzReadCurrentFile(archive_, block.get(), blockSize);
        // The reader itself stops at the declared size, and takes data that end before it for the end of the entry.
        if (length <= 0) return length == 0 && total == size;
        writeAll(output, block.get(), static_cast<std::size_t>(length));
        total += static_cast<std::uint64_t>(length);
        tellProgress();
    }
}

void ZipFile::tellProgress() const {
    if (progress_ && size_ != 0) progress_(static_cast<unsigned>(stream_->position * 100 / size_));
}

bool UnzipFile(HANDLE zip, const std::filesystem::path& destination, const ExtractionProgress& progress) {
    FileUtilities::createDirectories(destination);
    return ZipFile(zip).extractAll(destination, progress);
}

} // namespace kelvane
