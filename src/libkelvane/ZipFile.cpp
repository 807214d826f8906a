#include "libkelvane/ZipFile.h"

#include "libkelvane/FileUtilities.h"
#include "libkelvane/FileWriter.h"
#include "libkelvane/PathUtils.h"
#include "libkelvane/UserLog.h"
#include "libwin32/Text.h"

#include <unzip.h>
// after the types that it uses
#include <iowin32.h>

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

// The unpacking library tells a read that failed as damage of the archive; here the system's code is kept, in
// `failure`.
uLong ZCALLBACK readArchive(voidpf failure, voidpf stream, void* buffer, uLong size) {
    static const zlib_filefunc64_def functions = [] {
        zlib_filefunc64_def original{};
        fill_win32_filefunc64W(&original);
        return original;
    }();
    const uLong length = functions.zread_file(nullptr, stream, buffer, size);
    const int code = functions.zerror_file(nullptr, stream);
    if (code != 0) *static_cast<std::uint32_t*>(failure) = static_cast<std::uint32_t>(code);
    return length;
}

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

ZipFile::ZipFile(const std::filesystem::path& path, const std::source_location& place) {
    zlib_filefunc64_def functions{};
    fill_win32_filefunc64W(&functions);
    functions.zread_file = &readArchive;
    functions.opaque = &readFailure_;
    archive_ = unzOpen2_64(PathUtils::longPath(path).c_str(), &functions);
    if (!archive_) {
        if (readFailure_ != 0) userLog(TraceLevel::Error, win32::formatText(L"ReadFile: error %u", readFailure_));
        throw ZipError("Zip file could not be opened.", place);
    }
    unz_global_info64 info{};
    if (unzGetGlobalInfo64(archive_, &info) != UNZ_OK) {
        unzClose(archive_);
        throw ZipError("unzGetGlobalInfo64 Failed", place);
    }
    entryCount_ = info.number_entry;
}

ZipFile::~ZipFile() {
    if (unzClose(archive_) != UNZ_OK) userLog(TraceLevel::Error, "unzClose failed");
}

bool ZipFile::extractAll(const std::filesystem::path& destination) {
    if (entryCount_ == 0) return true;
    int result = unzGoToFirstFile(archive_);
    for (; result == UNZ_OK; result = unzGoToNextFile(archive_)) {
        const auto entry = currentEntry(archive_);
        if (entry && extractCurrent(*entry, destination)) continue;
        checkRead();
        userLog(TraceLevel::Error, win32::formatText(L"UnzipFile: entry not extracted: %s", entry ? entry->name : L""));
    }
    checkRead();
    return result == UNZ_END_OF_LIST_OF_FILE;
}

void ZipFile::checkRead() const {
    if (readFailure_ != 0) win32::throwWin32("ReadFile", readFailure_);
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
    FileWriter writer(createOutput(output));
    const bool complete = copyData(writer, size);
    const bool intact = entry.close();
    writer.close();
    if (complete && intact) return true;
    // Nobody is to take half a file for the whole.
    FileUtilities::deleteFileWithCallback(output, {});
    return false;
}

bool ZipFile::copyData(FileWriter& writer, std::uint64_t size) {
    char buffer[1024];
    std::uint64_t total = 0;
    while (true) {
        const int length = unzReadCurrentFile(archive_, buffer, sizeof buffer);
        // The reader itself stops at the declared size, and takes data that end before it for the end of the entry.
        if (length <= 0) return length == 0 && total == size;
        writer.write(buffer, static_cast<std::size_t>(length));
        total += static_cast<std::uint64_t>(length);
    }
}

bool UnzipFile(const std::filesystem::path& zip, const std::filesystem::path& destination) {
    FileUtilities::createDirectories(destination);
    return ZipFile(zip).extractAll(destination);
}

} // namespace kelvane
