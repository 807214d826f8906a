#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace kelvane::PathUtils {

// Environment variables in %NAME% form replaced (ExpandEnvironmentStringsW). Throws Win32Error.
std::wstring expandEnvironment(std::wstring_view text);
// As the system knows them, whatever the environment says.
std::filesystem::path programFiles();     // the known folder that %ProgramFiles% stands for
std::filesystem::path programData();      // the known folder that %ProgramData% stands for
std::filesystem::path windowsDirectory(); // of the system, not of the session (GetSystemWindowsDirectoryW)
std::filesystem::path windowsTemp();      // Temp in it
std::filesystem::path systemDirectory();  // GetSystemDirectoryW
std::filesystem::path ownExecutable();    // full path of the running program, of any length

// Sets WINDIR, SystemRoot, ProgramFiles, ProgramW6432 and ProgramData of this process, and so of those that it starts,
// to these folders. Throws Win32Error.
void restoreEnvironment();

// A drive-absolute path (D:\Data, \\?\D:\Data) or a device path (\Device\...) without characters that no path may hold.
// Relative paths, bare drive letters and UNC paths are not valid.
bool isPathValid(std::wstring_view path);

// Whether the path names its place by itself: D:\Data, \\server\share\..., \\?\... .
bool isAbsolute(const std::filesystem::path& path);

// The path as seen from the current directory, "." and ".." resolved (GetFullPathNameW), without the prefix below; an
// empty path stays empty. Throws Win32Error.
std::filesystem::path fullPath(const std::filesystem::path& path);

// The path with the "\\?\" prefix that lifts the length limit (\\?\UNC\server\share for \\server\share), "." and ".."
// resolved; a path that has it, or that is relative, as it is.
std::filesystem::path longPath(const std::filesystem::path& path);

// The path without that prefix; as it is when it has no other form (\\?\Volume{...}).
std::filesystem::path withoutLongPrefix(const std::filesystem::path& path);

std::wstring devicePathOfDrive(wchar_t letter);                        // QueryDosDeviceW
std::wstring finalPathOfHandle(void* handle);                          // GetFinalPathNameByHandleW
std::filesystem::path longPathName(const std::filesystem::path& path); // GetLongPathNameW

} // namespace kelvane::PathUtils
