#include "OstravelInstaller/package/InstallerFile.h"

#include "OstravelInstaller/package/MsiPackage.h"
#include "OstravelInstaller/package/MsiProperties.h"
#include "libkelvane/PathUtils.h"
#include "libwin32/Win32Error.h"

#include <windows.h>

#include <utility>

namespace kelvane::bst {

InstallerFile::InstallerFile(std::filesystem::path path)
    : path_(std::move(path)), file_(CreateFileW(PathUtils::longPath(path_).c_str(), GENERIC_READ, FILE_SHARE_READ,
                                                nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr)) {
    win32::check(bool(file_), "CreateFileW");
    if (installerType(path_) == InstallerType::WindowsInstallerPackage) checkPackageReadable(path_);
}

} // namespace kelvane::bst
