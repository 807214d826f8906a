#include "SharedLib/InstallationUtils.h"

#include "ProductLib/AgentProduct.h"
#include "ProductLib/AgentRegKeys.h"
#include "ProductLib/InstallerEvents.h"
#include "SharedLib/AgentPaths.h"
#include "libkelvane/FileUtilities.h"
#include "libkelvane/PathUtils.h"
#include "libwin32/Win32Error.h"

#include <windows.h>

#include <msi.h>

namespace kelvane {
namespace {

using bst::logEvent;
using bst::LogLevel;

constexpr std::size_t productCodeLength = 38;

bool isInstalled(const wchar_t* product, MSIINSTALLCONTEXT context) {
    DWORD length = 0;
    return MsiGetProductInfoExW(product, nullptr, context, L"VersionString", nullptr, &length) != ERROR_UNKNOWN_PRODUCT;
}

// What somebody installed for himself alone is no agent of this machine: he may say of it what he likes.
bool isUsersOwn(const wchar_t* product) {
    return isInstalled(product, MSIINSTALLCONTEXT_USERUNMANAGED) && !isInstalled(product, MSIINSTALLCONTEXT_MACHINE);
}

} // namespace

AgentFolders agentFoldersIn(const std::filesystem::path& productFolder) {
    AgentFolders folders;
    if (!FileUtilities::isDirectory(productFolder)) return folders;
    logEvent(LogLevel::Verbose, "SearchingAllAgentPathsInProgramFiles", {{"Path", productFolder.native()}});
    FileUtilities::scanDirectory(productFolder, [&](const FileUtilities::DirectoryEntry& entry) {
        const auto version = entry.isDirectory() ? versionFromAgentPath(entry.path.native()) : std::nullopt;
        if (!version) return;
        logEvent(LogLevel::Verbose, "FoundAgentLeftoversInProgramFiles",
                 {{"Path", entry.path.native()}, {"Version", version->str()}});
        folders.emplace(*version, entry.path);
    });
    return folders;
}

AgentFolders leftoverAgentFolders() {
    const auto productFolder = PathUtils::programFiles() / L"Ostravel";
    logEvent(LogLevel::Verbose, "SearchingForAgentLeftoversInProgramFiles", {{"Path", productFolder.native()}});
    return agentFoldersIn(productFolder);
}

std::vector<AgentVersion> leftoverAgentVersions() {
    std::vector<AgentVersion> versions;
    for (const auto& [version, folder] : leftoverAgentFolders()) {
        if (versions.empty() || versions.back() != version) versions.push_back(version);
    }
    return versions;
}

void removeLeftoverAgentFolders() noexcept {
    try {
        for (const auto& [version, folder] : leftoverAgentFolders())
            FileUtilities::deleteDirectoryNoThrow(folder);
    } catch (const std::exception& error) {
        logEvent(LogLevel::Error, "RemovingAgentLeftoversFailed", {{"ErrorMsg", error.what()}});
    }
}

std::optional<std::filesystem::path> cachedAgentPackage() {
    const auto folder = AgentRegKeys::agentProgramFolder();
    if (!folder) return std::nullopt;
    const auto package = *folder / L"KelvaneInstaller.msi";
    return FileUtilities::exists(package) ? std::optional(package) : std::nullopt;
}

std::vector<std::wstring> relatedProducts() {
    std::vector<std::wstring> products;
    wchar_t product[productCodeLength + 1];
    for (DWORD index = 0;; ++index) {
        const UINT result = MsiEnumRelatedProductsW(agentUpgradeCode.data(), 0, index, product);
        if (result == ERROR_NO_MORE_ITEMS) return products;
        if (result != ERROR_SUCCESS) win32::throwWin32("MsiEnumRelatedProductsW", result);
        if (!isUsersOwn(product)) products.emplace_back(product);
    }
}

std::optional<AgentVersion> productVersion(const std::wstring& productCode) {
    wchar_t text[64]; // the longest version has 23 characters
    DWORD length = 64;
    const UINT result = MsiGetProductInfoW(productCode.c_str(), L"VersionString", text, &length);
    if (result == ERROR_MORE_DATA) return std::nullopt;
    if (result != ERROR_SUCCESS) win32::throwWin32("MsiGetProductInfoW", result);
    return parseShortAgentVersion({text, length});
}

} // namespace kelvane
