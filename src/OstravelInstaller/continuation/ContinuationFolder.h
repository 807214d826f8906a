#pragma once

#include "OstravelInstaller/context/BaseFolder.h"
#include "libkelvane/FileDigest.h"

#include <filesystem>
#include <optional>
#include <string>

// The folders in the base folder, named "QX_R_" and a GUID, that hold what a run leaves for the next boot: a copy of
// the installer and, beside it, what that one has to know. Administrators and SYSTEM alone can use them.
namespace kelvane::bst {

// Whether a folder is one of these, by its place: in a base folder that only administrators can write to, else by its
// owner.
bool isContinuationFolder(const BaseFolder& baseFolder, const std::filesystem::path& folder);
// The running executable's folder when it is such a copy, and administrators own the folder.
std::optional<std::filesystem::path> ownContinuationFolder(const BaseFolder& baseFolder);

// The installer in such a folder.
std::filesystem::path copyIn(const std::filesystem::path& folder);
// Copies the running program into a new folder. On failure nothing is left behind. Throws std::exception.
struct Copy {
    std::filesystem::path folder;
    FileDigest digest;
};
Copy makeCopy(const BaseFolder& baseFolder);
// What is wrong with the installer in such a folder, which has to hold just that; empty when nothing is. Reads the
// whole file unless its size tells. Throws std::exception when it cannot be found out now, as while somebody uses the
// file.
std::string faultOfCopy(const std::filesystem::path& folder, const FileDigest& expected);

// Deletes a folder; of the running executable's own what is not in use. What is left goes with a later ordinary run.
void removeCopy(const std::filesystem::path& folder) noexcept;
// Deletes what runs that were cut off left in the base folder: all such folders, and working directories, that
// administrators own, but the running executable's own and this run's. Not to be called unless the task service has
// said that no continuation is scheduled.
void removeStaleFolders(const BaseFolder& baseFolder, const std::filesystem::path& workingDirectory) noexcept;

} // namespace kelvane::bst
