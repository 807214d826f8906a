#pragma once

#include "libkelvane/AgentVersion.h"

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

// What an agent leaves on a machine besides its configuration: folders, its cached package, the Windows Installer's
// record.
namespace kelvane {

using AgentFolders = std::multimap<AgentVersion, std::filesystem::path, std::greater<>>; // newest first

// The agents' folders in a product folder: those whose path yields a version. None when the product folder does not
// exist. Each folder found is logged. Throws Win32Error, filesystem_error.
AgentFolders agentFoldersIn(const std::filesystem::path& productFolder);
// The same of %ProgramFiles%\Ostravel.
AgentFolders leftoverAgentFolders();
// Their versions, newest first, each once.
std::vector<AgentVersion> leftoverAgentVersions();
// Deletes these folders. Never throws: what cannot be deleted is logged and left.
void removeLeftoverAgentFolders() noexcept;

// The package with which the installed agent was installed: KelvaneInstaller.msi in the program folder that the
// registry records. None when there is no such file. Throws filesystem_error "exists".
std::optional<std::filesystem::path> cachedAgentPackage();

// The product codes that are related to the agent's upgrade code, without a user's own. Throws Win32Error
// "MsiEnumRelatedProductsW".
std::vector<std::wstring> relatedProducts();
// The VersionString of an installed product, missing parts 0; none when it is no version.
// Throws Win32Error "MsiGetProductInfoW".
std::optional<AgentVersion> productVersion(const std::wstring& productCode);

} // namespace kelvane
