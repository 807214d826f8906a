#include "libkelvane/PathUtils.h"

#include "libwin32/ComPtr.h"
#include "libwin32/Text.h"
#include "libwin32/Win32Error.h"

#include <shlobj.h>

#include <algorithm>

namespace kelvane::PathUtils {
namespace {

constexpr std::wstring_view longPathPrefix = L"\\\\?\\";
constexpr std::wstring_view longUncPrefix = L"\\\\?\\UNC";
constexpr std::wstring_view devicePathPrefix = L"\\Device\\";
constexpr std::wstring_view invalidPathCharacters = L"*?\"<>|";
constexpr std::wstring_view invalidNameCharacters = L"\\/?\"<>|";

// Calls that fill a buffer and answer with the length, or with the size that they need. `fill` gets buffer and size.
template <class Fill>
std::wstring filledText(const char* call, Fill fill, std::source_location place = std::source_location::current()) {
    std::wstring text(MAX_PATH, L'\0');
    while (true) {
        const DWORD length = fill(text.data(), static_cast<DWORD>(text.size()));
        win32::check(length != 0, call, place);
        if (length < text.size()) {
            text.resize(length);
            return text;
        }
        text.resize(std::max<std::size_t>(length, text.size() * 2));
    }
}

bool isDriveAbsolute(std::wstring_view path) {
    const wchar_t letter = path.size() < 3 ? L'\0' : static_cast<wchar_t>(path[0] | 0x20);
    return letter >= L'a' && letter <= L'z' && path[1] == L':' && (path[2] == L'\\' || path[2] == L'/');
}

bool isSeparator(wchar_t c) { return c == L'\\' || c == L'/'; }

// \\server\share\..., and neither \\?\... nor \\.\... .
bool isUnc(std::wstring_view path) {
    return path.size() > 2 && isSeparator(path[0]) && isSeparator(path[1]) && !isSeparator(path[2]) &&
           path[2] != L'?' && path[2] != L'.';
}

bool hasValidComponents(std::wstring_view path) {
    while (!path.empty()) {
        const auto end = std::min(path.find(L'\\'), path.size());
        if (path.substr(0, end).find_first_of(invalidNameCharacters) != std::wstring_view::npos) return false;
        path.remove_prefix(std::min(end + 1, path.size()));
    }
    return true;
}

std::filesystem::path knownFolder(const KNOWNFOLDERID& id) {
    win32::UniqueTaskMemory path;
    win32::checkHresult(SHGetKnownFolderPath(id, 0, nullptr, path.put()), "SHGetKnownFolderPath");
    return path.get();
}

} // namespace

std::wstring expandEnvironment(std::wstring_view text) {
    const std::wstring source(text);
    std::wstring expanded = filledText("ExpandEnvironmentStringsW", [&](wchar_t* buffer, DWORD size) {
        return ExpandEnvironmentStringsW(source.c_str(), buffer, size);
    });
    // The length of this call includes the terminator.
    expanded.resize(expanded.size() - 1);
    return expanded;
}

std::filesystem::path programFiles() { return knownFolder(FOLDERID_ProgramFiles); }

std::filesystem::path programData() { return knownFolder(FOLDERID_ProgramData); }

std::filesystem::path windowsTemp() { return windowsDirectory() / L"Temp"; }

std::filesystem::path windowsDirectory() {
    return filledText("GetSystemWindowsDirectoryW", &GetSystemWindowsDirectoryW);
}

std::filesystem::path systemDirectory() { return filledText("GetSystemDirectoryW", &GetSystemDirectoryW); }

void restoreEnvironment() {
    const std::pair<const wchar_t*, std::filesystem::path> variables[] = {{L"WINDIR", windowsDirectory()},
                                                                          {L"SystemRoot", windowsDirectory()},
                                                                          {L"ProgramFiles", programFiles()},
                                                                          {L"ProgramW6432", programFiles()},
                                                                          {L"ProgramData", programData()}};
    for (const auto& [name, folder] : variables)
        win32::check(SetEnvironmentVariableW(name, folder.c_str()), "SetEnvironmentVariableW");
}

std::filesystem::path ownExecutable() {
    return filledText("GetModuleFileNameW",
                      [](wchar_t* buffer, DWORD size) { return GetModuleFileNameW(nullptr, buffer, size); });
}

bool isPathValid(std::wstring_view path) {
    if (path.size() < 3) return false;
    if (path.starts_with(longPathPrefix)) {
        path.remove_prefix(longPathPrefix.size());
        if (!hasValidComponents(path)) return false;
    }
    if (path.starts_with(devicePathPrefix)) return true;
    return path.find_first_of(invalidPathCharacters) == std::wstring_view::npos && isDriveAbsolute(path);
}

bool isAbsolute(const std::filesystem::path& path) {
    return isDriveAbsolute(path.native()) || isUnc(path.native()) || path.native().starts_with(longPathPrefix);
}

std::filesystem::path fullPath(const std::filesystem::path& path) {
    if (path.empty()) return path;
    const auto source = withoutLongPrefix(path);
    return filledText("GetFullPathNameW", [&](wchar_t* buffer, DWORD size) {
        return GetFullPathNameW(source.c_str(), size, buffer, nullptr);
    });
}

// Windows takes a prefixed path literally, so "." and "/" have to be resolved here.
std::filesystem::path longPath(const std::filesystem::path& path) {
    const auto normal = [](const std::filesystem::path& plain) { return plain.lexically_normal().make_preferred(); };
    if (isDriveAbsolute(path.native())) return std::wstring(longPathPrefix) + normal(path).native();
    if (isUnc(path.native())) return std::wstring(longUncPrefix) + normal(path.native().substr(1)).native();
    return path;
}

std::filesystem::path withoutLongPrefix(const std::filesystem::path& path) {
    const std::wstring_view text = path.native();
    const auto unc = text.substr(0, longUncPrefix.size());
    if (win32::equalsIgnoringAsciiCase(unc, longUncPrefix) && text.substr(unc.size()).starts_with(L'\\')) {
        return L'\\' + std::wstring(text.substr(unc.size()));
    }
    if (!text.starts_with(longPathPrefix)) return path;
    const auto plain = text.substr(longPathPrefix.size());
    return isDriveAbsolute(plain) ? plain : path;
}

std::wstring devicePathOfDrive(wchar_t letter) {
    const wchar_t drive[] = {letter, L':', L'\0'};
    std::wstring targets(MAX_PATH, L'\0');
    while (QueryDosDeviceW(drive, targets.data(), static_cast<DWORD>(targets.size())) == 0) {
        win32::check(GetLastError() == ERROR_INSUFFICIENT_BUFFER, "QueryDosDeviceW");
        targets.resize(targets.size() * 2);
    }
    // The first of a list is the mapping in force.
    return targets.substr(0, targets.find(L'\0'));
}

std::wstring finalPathOfHandle(void* handle) {
    return filledText("GetFinalPathNameByHandleW", [&](wchar_t* buffer, DWORD size) {
        return GetFinalPathNameByHandleW(handle, buffer, size, FILE_NAME_NORMALIZED | VOLUME_NAME_DOS);
    });
}

std::filesystem::path longPathName(const std::filesystem::path& path) {
    const auto source = longPath(path);
    return withoutLongPrefix(filledText("GetLongPathNameW", [&](wchar_t* buffer, DWORD size) {
        return GetLongPathNameW(source.c_str(), buffer, size);
    }));
}

} // namespace kelvane::PathUtils
