#include "libkelvane/ProtectedDirectory.h"

#include "libkelvane/FileUtilities.h"
#include "libkelvane/PathUtils.h"
#include "libwin32/AdministratorsOnly.h"
#include "libwin32/FileTree.h"
#include "libwin32/Win32Error.h"

namespace kelvane::FileUtilities {
namespace {

constexpr const char* openCall = "openProtectedDirectory";
constexpr const char* holdCall = "holdProtectedDirectory";
constexpr DWORD judgingAccess = FILE_LIST_DIRECTORY | FILE_READ_ATTRIBUTES | READ_CONTROL;

// The thing itself, a link as a link, kept from being removed.
win32::UniqueHandle openItself(const std::filesystem::path& path, DWORD access) {
    return win32::UniqueHandle(CreateFileW(path.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                           OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT,
                                           nullptr));
}

// Another run may remove the directory between the two calls, and not while it is open here.
win32::UniqueHandle createOrOpen(const std::filesystem::path& path) {
    constexpr int mostAttempts = 5;
    constexpr DWORD access = judgingAccess | WRITE_DAC | WRITE_OWNER;
    for (int attempt = 1;; ++attempt) {
        const bool made = win32::createDirectoryForAdministrators(path.c_str());
        win32::check(made || GetLastError() == ERROR_ALREADY_EXISTS, openCall);
        if (auto directory = openItself(path, access)) return directory;
        win32::check(GetLastError() == ERROR_FILE_NOT_FOUND && attempt < mostAttempts, openCall);
    }
}

void checkOnlyAdministrators(HANDLE directory, const char* call) {
    FILE_ATTRIBUTE_TAG_INFO info{};
    win32::check(GetFileInformationByHandleEx(directory, FileAttributeTagInfo, &info, sizeof info), call);
    const bool plain =
        (info.FileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0 && !win32::isLink(info.FileAttributes, info.ReparseTag);
    if (!plain) win32::throwWin32(call, ERROR_DIRECTORY);
    const auto security = win32::securityOf(directory);
    win32::check(bool(security), call);
    if (!win32::onlyAdministratorsMayChange(security.get())) win32::throwWin32(call, ERROR_INVALID_OWNER);
}

} // namespace

win32::UniqueHandle createInPlaceOf(const std::filesystem::path& path, win32::UniqueHandle (*create)(const wchar_t*),
                                    const char* operation) {
    constexpr int mostAttempts = 5;
    const auto place = PathUtils::longPath(path);
    for (int attempt = 1;; ++attempt) {
        deleteDirectory(place);
        if (auto file = create(place.c_str())) return file;
        const DWORD code = GetLastError();
        const bool taken = code == ERROR_FILE_EXISTS || code == ERROR_ALREADY_EXISTS;
        if (!taken || attempt == mostAttempts) win32::throwWin32(operation, code);
    }
}

HeldDirectory createHeldDirectory(const std::filesystem::path& path) {
    auto handle = createInPlaceOf(path, win32::createHeldDirectoryForAdministrators, "createHeldDirectory");
    auto place = PathUtils::withoutLongPrefix(PathUtils::finalPathOfHandle(handle.get()));
    return {std::move(place), std::move(handle)};
}

win32::UniqueHandle openProtectedDirectory(const std::filesystem::path& path) {
    auto directory = createOrOpen(PathUtils::longPath(path));
    checkOnlyAdministrators(directory.get(), openCall);
    win32::check(win32::giveToAdministrators(directory.get()), openCall);
    return directory;
}

win32::UniqueHandle holdProtectedDirectory(const std::filesystem::path& path) {
    auto directory = openItself(PathUtils::longPath(path), judgingAccess);
    win32::check(bool(directory), holdCall);
    checkOnlyAdministrators(directory.get(), holdCall);
    return directory;
}

bool isOwnedByAdministrators(const std::filesystem::path& path) {
    const auto file = openItself(PathUtils::longPath(path), FILE_READ_ATTRIBUTES | READ_CONTROL);
    FILE_ATTRIBUTE_TAG_INFO info{};
    if (!file || !GetFileInformationByHandleEx(file.get(), FileAttributeTagInfo, &info, sizeof info)) return false;
    if (win32::isLink(info.FileAttributes, info.ReparseTag)) return false;
    const auto security = win32::securityOf(file.get());
    return security && win32::isOwnerTrusted(security.get());
}

} // namespace kelvane::FileUtilities
