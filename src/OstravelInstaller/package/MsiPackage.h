#pragma once

#include "libkelvane/AgentVersion.h"

#include <filesystem>
#include <optional>

// What Windows Installer tells about the agent's package, and what the package's own actions leave in the agent's key.
namespace kelvane::bst {

// The ProductVersion of a package, missing parts 0. Throws Win32Error "MsiOpenPackageW", "MsiGetProductPropertyW",
// std::runtime_error when it is no version.
AgentVersion packageProductVersion(const std::filesystem::path& package);

// That Windows Installer can read the file as a package. Throws Win32Error "MsiOpenDatabaseW".
void checkPackageReadable(const std::filesystem::path& package);

// What the package's own actions record of a run of it.
struct PackageMarks {
    // MsiFailureReason: why it failed. Absent when it recorded nothing, or no number (logged).
    std::optional<std::uint32_t> failureReason{};
    bool removedExistingProducts = false; // RemoveExistingProductsMark: it had begun to remove the old product
};
PackageMarks readPackageMarks();
// Done before a run, so that what is found afterwards is of this run; false, logged, when an old mark may be left.
bool deletePackageMarks() noexcept;

} // namespace kelvane::bst
