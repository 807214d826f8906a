#include "SharedLib/ConfigBackup.h"

#include "ProductLib/InstallerEvents.h"
#include "libkelvane/FileUtilities.h"
#include "libkelvane/PathUtils.h"
#include "libwin32/Win32Error.h"

namespace kelvane {
namespace {

using bst::logEvent;
using bst::LogLevel;

void createBackupDirectory(const std::filesystem::path& directory) {
    try {
        FileUtilities::createProtectedDirectory(directory);
    } catch (const win32::Win32Error& error) {
        throw std::filesystem::filesystem_error("create_directory", directory,
                                                {static_cast<int>(error.code()), std::system_category()});
    }
}

void logBackupFailure(const char* reason) noexcept {
    try {
        const auto message = std::string("Error creating backup of kelvane config: ") + reason;
        logEvent(LogLevel::Error, "KelvaneConfigBackupFailed", {{"ErrorMsg", message}});
    } catch (const std::exception&) {
        // Out of memory: the record is lost.
    }
}

} // namespace

std::filesystem::path configBackupDirectory() { return PathUtils::expandEnvironment(L"%windir%\\Temp\\KelvaneConfig"); }

bool backupConfigDir(const std::optional<std::filesystem::path>& configDir) noexcept {
    try {
        if (!configDir || !FileUtilities::isDirectory(*configDir)) {
            logEvent(LogLevel::Verbose, "KelvaneConfigBackupSkipped",
                     {{"Message", "Kelvane config dir wasn't found. Not creating config backup"}});
            return true;
        }
        const auto backup = configBackupDirectory();
        createBackupDirectory(backup);
        FileUtilities::copyDirectory(*configDir, backup);
        return true;
    } catch (const std::exception& error) {
        logBackupFailure(error.what());
        // The new installation must not take over a part of a configuration.
        removeConfigBackup();
        return false;
    }
}

void removeConfigBackup() noexcept {
    try {
        FileUtilities::deleteDirectoryNoThrow(configBackupDirectory());
    } catch (const std::exception& error) {
        logEvent(LogLevel::Error, "RemovingKelvaneConfigBackupFailed", {{"ErrorMsg", error.what()}});
    }
}

} // namespace kelvane
