#include "OstravelInstaller/context/BaseFolder.h"

#include "libkelvane/FileUtilities.h"
#include "libkelvane/Guid.h"
#include "libkelvane/PathUtils.h"
#include "libkelvane/ProtectedDirectory.h"
#include "libkelvane/UserLog.h"
#include "libwin32/AdministratorsOnly.h"
#include "libwin32/Win32Error.h"

#include <vector>

namespace kelvane::bst {

BaseFolder::BaseFolder() : path_(PathUtils::windowsTemp()) {
    try {
        auto folder = PathUtils::programFiles() / L"OstravelInstaller";
        handle_ = FileUtilities::openProtectedDirectory(folder);
        path_ = std::move(folder);
    } catch (const std::exception& error) {
        failure_ = error.what();
    }
}

BaseFolder::~BaseFolder() {
    if (!usable()) return;
    handle_.reset();
    // Fails when something is left in it, or while another run has it open.
    RemoveDirectoryW(path_.c_str());
}

std::filesystem::path BaseFolder::makeFolder(std::wstring_view prefix) const {
    auto folder = path_ / std::wstring(prefix).append(newGuid());
    win32::check(win32::createDirectoryForAdministrators(PathUtils::longPath(folder).c_str()), "makeFolder");
    return folder;
}

bool BaseFolder::isTrusted(const std::filesystem::path& entry) const {
    return usable() && entry.parent_path() == path_ && FileUtilities::isOwnedByAdministrators(entry);
}

void BaseFolder::removeStale(std::wstring_view prefix, const std::filesystem::path& used) const noexcept {
    if (!usable()) return;
    try {
        std::vector<std::filesystem::path> stale;
        FileUtilities::scanDirectory(path_, [&](const FileUtilities::DirectoryEntry& entry) {
            const auto name = entry.path.filename();
            if (entry.isDirectory() && name.native().starts_with(prefix) && name != used.filename()) {
                stale.push_back(entry.path);
            }
        });
        for (const auto& folder : stale) {
            if (isTrusted(folder)) FileUtilities::deleteDirectoryNoThrow(folder);
        }
    } catch (const std::exception& error) {
        userLog(win32::TraceLevel::Error, error.what());
    }
}

} // namespace kelvane::bst
