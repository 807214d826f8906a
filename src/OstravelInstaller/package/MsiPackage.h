#pragma once

#include "libkelvane/AgentVersion.h"

#include <filesystem>
#include <optional>

// What Windows Installer tells about the agent's package, and what the package's own actions leave in the agent's key.
namespace kelvane::bst {

// The ProductVersion of a package, missing parts 0. Throws Win32Error "MsiOpenPackageW", "MsiGetProductPropertyW",
// std::runtime_error when it is no version.
AgentVersion packageProductVersion(const std::filesystem::path& package);

// Why the last run of the package failed, by its own account. Absent when it recorded nothing, or no number (logged).
std::optional<std::uint32_t> readMsiFailureReason();
// Done before a run, so that a reason found afterwards is of this run. Never throws: a failure is logged.
void deleteMsiFailureReason() noexcept;
// Whether the package had begun to remove the old product.
bool removeExistingProductsMark();

} // namespace kelvane::bst
