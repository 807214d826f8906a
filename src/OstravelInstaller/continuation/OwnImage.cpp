#include "OstravelInstaller/continuation/OwnImage.h"

#include "libkelvane/FileWriter.h"
#include "libkelvane/PathUtils.h"
#include "libwin32/AdministratorsOnly.h"
#include "libwin32/Win32Error.h"

#include <string_view>
#include <utility>

namespace kelvane::bst {
namespace {

struct OwnImage {
    OwnImage() noexcept {
        try {
            path = PathUtils::withoutLongPrefix(PathUtils::ownExecutable());
            file = openForReading(path);
        } catch (const win32::Win32Error& failure) {
            error = failure.code();
        } catch (const std::exception&) {
            error = ERROR_NOT_ENOUGH_MEMORY;
        }
    }

    static win32::UniqueHandle openForReading(const std::filesystem::path& path) {
        win32::UniqueHandle file(CreateFileW(PathUtils::longPath(path).c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                             OPEN_EXISTING, FILE_FLAG_SEQUENTIAL_SCAN, nullptr));
        win32::check(bool(file), "CreateFileW");
        return file;
    }

    std::filesystem::path path;
    win32::UniqueHandle file;
    DWORD error = ERROR_SUCCESS;
};

const OwnImage& ownImage() {
    static const OwnImage image;
    return image;
}

HANDLE heldImage() {
    const OwnImage& image = ownImage();
    if (!image.file) win32::throwWin32("CreateFileW", image.error);
    return image.file.get();
}

void writeCopy(HANDLE image, const std::filesystem::path& to) {
    win32::UniqueHandle file = win32::createFileForAdministrators(PathUtils::longPath(to).c_str());
    win32::check(bool(file), "CreateFileW");
    FileWriter copy(std::move(file));
    BlockReader source(image);
    for (auto block = source.next(); !block.empty(); block = source.next())
        copy.write(block.data(), block.size());
    copy.flush();
}

void compare(HANDLE image, HANDLE copy) {
    BlockReader left(image);
    BlockReader right(copy);
    while (true) {
        const auto block = left.next();
        if (block != right.next()) win32::throwWin32("copyOwnImage", ERROR_CRC);
        if (block.empty()) return;
    }
}

} // namespace

void holdOwnImage() noexcept { ownImage(); }

const std::filesystem::path& ownImagePath() noexcept { return ownImage().path; }

FileDigest ownImageDigest() { return digestOf(heldImage()); }

FileDigest copyOwnImage(const std::filesystem::path& to) {
    const HANDLE image = heldImage();
    writeCopy(image, to);
    const auto copy = OwnImage::openForReading(to);
    compare(image, copy.get());
    return digestOf(copy.get());
}

} // namespace kelvane::bst
