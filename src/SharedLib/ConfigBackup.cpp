#include "SharedLib/ConfigBackup.h"

#include "ProductLib/InstallerEvents.h"
#include "libkelvane/FileUtilities.h"
#include "libkelvane/PathUtils.h"
#include "libkelvane/ProtectedDirectory.h"
#include "libwin32/Win32Error.h"

namespace kelvane {
namespace {

using bst::logEvent;
using bst::LogLevel;

win32::UniqueHandle createBackupDirectory(const std::filesystem::path& directory) {
    try {
        FileUtilities::createProtectedDirectory(directory);
        return FileUtilities::holdProtectedDirectory(directory);
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

std::filesystem::path configBackupDirectory() { return PathUtils::windowsTemp() / L"KelvaneConfig"; }

std::optional<win32::UniqueHandle> backupConfigDir(const std::optional<std::filesystem::path>& configDir) noexcept {
    win32::UniqueHandle held;
    try {
        if (!configDir || !FileUtilities::isDirectory(*configDir)) {
            logEvent(LogLevel::Verbose, "KelvaneConfigBackupSkipped",
                     {{"Message", "Kelvane config dir wasn't found. Not creating config backup"}});
            return held;
        }
        const auto backup = configBackupDirectory();
        held = createBackupDirectory(backup);
        FileUtilities::copyDirectory(*configDir, backup);
        return held;
    } catch (const std::exception& error) {
        logBackupFailure(error.what());
        // The new installation must not take over a part of a configuration.
        held.reset();
        removeConfigBackup();
        return std::nullopt;
    }
}

win32::UniqueHandle holdConfigBackup() noexcept {
    try {
        return FileUtilities::holdProtectedDirectory(configBackupDirectory());
    } catch (const std::exception& error) {
        logEvent(LogLevel::Error, "KelvaneConfigBackupNotUsed", {{"ErrorMsg", error.what()}});
        return {};
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
