#pragma once

#include <cstdint>
#include <filesystem>

// The small file in which a run leaves its result for tools that did not wait for it.
namespace kelvane::bst {

// In %WINDIR%\Temp; a run that continues after a reboot has a file of its own. Throws Win32Error.
std::filesystem::path exitCodeFilePath(bool afterReboot);

// A file that is not there is no failure. Throws std::filesystem::filesystem_error "remove", Win32Error.
void removeExitCodeFile(bool afterReboot);

// The code in decimal, and nothing else, whatever stood there before. A failure is logged.
void writeExitCodeFile(bool afterReboot, std::int32_t code) noexcept;

} // namespace kelvane::bst
