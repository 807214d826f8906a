#include "OstravelInstaller/continuation/ExitCodeFile.h"

#include "ProductLib/InstallerEvents.h"
#include "libkelvane/FileUtilities.h"
#include "libkelvane/PathUtils.h"
#include "libkelvane/ProtectedFile.h"
#include "libkelvane/UserLog.h"
#include "libwin32/Text.h"
#include "libwin32/Win32Error.h"

#include <system_error>

namespace kelvane::bst {

std::filesystem::path exitCodeFilePath(bool afterReboot) {
    return PathUtils::windowsTemp() / (afterReboot ? L"SC-after-reboot-exit-code.txt" : L"SC-exit-code.txt");
}

void removeExitCodeFile(bool afterReboot) {
    const auto path = exitCodeFilePath(afterReboot);
    try {
        FileUtilities::deleteDirectory(path);
    } catch (const win32::Win32Error& error) {
        throw std::filesystem::filesystem_error("remove", path,
                                                {static_cast<int>(error.code()), std::system_category()});
    }
}

void writeExitCodeFile(bool afterReboot, std::int32_t code) noexcept {
    logEvent(LogLevel::Verbose, "CreateExitCodeFile", {{"ExitCode", code}});
    try {
        const auto path = exitCodeFilePath(afterReboot);
        userLog(LogLevel::Verbose, L"Exit code file: " + path.wstring());
        ProtectedFile file(path);
        file.write(win32::toUtf8(win32::formatText(L"%d", code)));
        file.keep();
    } catch (const std::exception& error) {
        userLog(LogLevel::Error, error.what());
    }
}

} // namespace kelvane::bst
