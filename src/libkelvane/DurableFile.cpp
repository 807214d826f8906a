#include "libkelvane/DurableFile.h"

#include "libkelvane/FileUtilities.h"
#include "libkelvane/FileWriter.h"
#include "libkelvane/PathUtils.h"
#include "libwin32/AdministratorsOnly.h"
#include "libwin32/Win32Error.h"

namespace kelvane::FileUtilities {
namespace {

void writeNew(const std::filesystem::path& path, std::string_view content) {
    deleteDirectory(path); // of a run that was cut off here
    win32::UniqueHandle file = win32::createFileForAdministrators(PathUtils::longPath(path).c_str());
    win32::check(bool(file), "replaceDurably");
    FileWriter writer(std::move(file));
    writer.write(content.data(), content.size());
    writer.flush();
}

} // namespace

void replaceDurably(const std::filesystem::path& path, std::string_view content) {
    auto fresh = path;
    fresh += L".new";
    try {
        writeNew(fresh, content);
        win32::check(MoveFileExW(PathUtils::longPath(fresh).c_str(), PathUtils::longPath(path).c_str(),
                                 MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH),
                     "replaceDurably");
    } catch (...) {
        deleteDirectoryNoThrow(fresh);
        throw;
    }
}

} // namespace kelvane::FileUtilities
