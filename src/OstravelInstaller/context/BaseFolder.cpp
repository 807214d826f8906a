#include "OstravelInstaller/context/BaseFolder.h"

#include "libkelvane/Guid.h"
#include "libkelvane/PathUtils.h"
#include "libkelvane/ProtectedDirectory.h"
#include "libwin32/AdministratorsOnly.h"
#include "libwin32/Win32Error.h"

namespace kelvane::bst {

BaseFolder::BaseFolder() : path_(PathUtils::windowsDirectory() / L"Temp") {
    try {
        auto folder = PathUtils::knownProgramFiles() / L"OstravelInstaller";
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

} // namespace kelvane::bst
