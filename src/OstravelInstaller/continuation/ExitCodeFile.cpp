#include "OstravelInstaller/continuation/ExitCodeFile.h"

#include "ProductLib/InstallerEvents.h"
#include "libkelvane/FileUtilities.h"
#include "libkelvane/PathUtils.h"
#include "libkelvane/UserLog.h"
#include "libwin32/Text.h"

namespace kelvane::bst {
namespace {

// Removed first: the folder is open to others, and a link that they put there would be written through.
void replaceFile(const std::filesystem::path& path, std::string_view content) {
    std::error_code ignored;
    std::filesystem::remove(path, ignored);
    FileUtilities::writeFile(path, content);
}

} // namespace

std::filesystem::path exitCodeFilePath(bool afterReboot) {
    return PathUtils::windowsTemp() / (afterReboot ? L"SC-after-reboot-exit-code.txt" : L"SC-exit-code.txt");
}

void removeExitCodeFile(bool afterReboot) {
    const auto path = exitCodeFilePath(afterReboot);
    std::error_code error;
    std::filesystem::remove(path, error);
    if (error) throw std::filesystem::filesystem_error("remove", path, error);
}

void writeExitCodeFile(bool afterReboot, std::int32_t code) noexcept {
    logEvent(LogLevel::Verbose, "CreateExitCodeFile", {{"ExitCode", code}});
    try {
        const auto path = exitCodeFilePath(afterReboot);
        userLog(LogLevel::Verbose, L"Exit code file: " + path.wstring());
        replaceFile(path, win32::toUtf8(win32::formatText(L"%d", code)));
    } catch (const std::exception& error) {
        userLog(LogLevel::Error, error.what());
    }
}

} // namespace kelvane::bst
