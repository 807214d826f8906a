#include "libkelvane/ProtectedFile.h"

#include "libkelvane/FileUtilities.h"
#include "libkelvane/FileWriter.h"
#include "libkelvane/PathUtils.h"
#include "libkelvane/ProtectedDirectory.h"
#include "libkelvane/UserLog.h"
#include "libwin32/AdministratorsOnly.h"
#include "libwin32/FileTree.h"
#include "libwin32/Win32Error.h"

namespace kelvane {

ProtectedFile::ProtectedFile(const std::filesystem::path& path)
    : file_(FileUtilities::createInPlaceOf(path, win32::createFileForAdministrators, "createProtectedFile")) {}

ProtectedFile::~ProtectedFile() {
    if (file_ && !win32::deleteOpenFile(file_.get())) userLog(win32::TraceLevel::Error, "A file was not deleted.");
}

void ProtectedFile::write(std::string_view content) const { writeAll(file_.get(), content.data(), content.size()); }

} // namespace kelvane
