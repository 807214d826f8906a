#include "SharedLib/HostFacts.h"

#include "libwin32/FileTree.h"
#include "libwin32/Handles.h"
#include "libwin32/Text.h"
#include "libwin32/Win32Error.h"

#include <windows.h>

#include <tuple>

namespace kelvane::system_requirements {
namespace {

// What tells one directory of a machine from all others; none when it does not exist.
using Identity = std::tuple<DWORD, DWORD, DWORD>;
std::optional<Identity> identityOf(const std::filesystem::path& path) {
    const win32::UniqueHandle handle(CreateFileW(path.c_str(), FILE_READ_ATTRIBUTES,
                                                 FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                                 OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
    BY_HANDLE_FILE_INFORMATION information{};
    if (handle && GetFileInformationByHandle(handle.get(), &information)) {
        return Identity(information.dwVolumeSerialNumber, information.nFileIndexHigh, information.nFileIndexLow);
    }
    const DWORD code = GetLastError();
    if (win32::isNotFound(code)) return std::nullopt;
    throw std::runtime_error(
        win32::toUtf8(win32::formatText(L"std::filesystem::equivalent failed with error: %d", static_cast<int>(code))));
}

} // namespace

bool SystemFacts::areEquivalent(const std::filesystem::path& left, const std::filesystem::path& right) const {
    const auto identity = identityOf(left);
    return identity && identity == identityOf(right);
}

bool SystemFacts::isFixedDrive(const std::filesystem::path& root) const {
    return GetDriveTypeW(root.c_str()) == DRIVE_FIXED;
}

std::optional<std::wstring> SystemFacts::fileSystemName(const std::filesystem::path& folder) const {
    // A folder may lie on a volume that is mounted below the drive's root.
    std::wstring volume(folder.native().size() + MAX_PATH, L'\0');
    if (!GetVolumePathNameW(folder.c_str(), volume.data(), static_cast<DWORD>(volume.size()))) return std::nullopt;
    wchar_t name[MAX_PATH + 1] = L"";
    if (!GetVolumeInformationW(volume.c_str(), nullptr, 0, nullptr, nullptr, nullptr, name, MAX_PATH + 1)) {
        return std::nullopt;
    }
    return name;
}

std::uint64_t SystemFacts::freeBytes(const std::filesystem::path& root, std::wstring_view failureMessage) const {
    ULARGE_INTEGER available{};
    if (!GetDiskFreeSpaceExW(root.c_str(), &available, nullptr, nullptr)) {
        const DWORD code = GetLastError();
        win32::throwWin32(win32::toUtf8(failureMessage), code);
    }
    return available.QuadPart;
}

} // namespace kelvane::system_requirements
