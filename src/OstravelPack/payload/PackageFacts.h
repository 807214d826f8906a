#pragma once

#include <filesystem>
#include <string>

namespace kelvane::pack {

// What a Windows Installer package says of itself; empty where it says nothing.
struct PackageFacts {
    std::wstring productVersion;
    std::wstring upgradeCode;
};
// Throws Refusal when Windows Installer cannot open or read it.
PackageFacts readPackage(const std::filesystem::path& package);

} // namespace kelvane::pack
