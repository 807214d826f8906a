#pragma once

#include "SharedLib/HostFacts.h"

#include <filesystem>
#include <string>

namespace kelvane::system_requirements {

// Each throws the NotSupportedException of the first requirement that is not met.

// What an upgrade of an installed agent needs on the system drive (that of Program Files).
void checkDiskForUpgrade(const HostFacts& facts);
// What a fresh installation needs: the place of the agent's data folder, and space there and on the system drive.
void checkDiskForInstallation(const HostFacts& facts, const std::wstring& dataFolder);
void checkSystemDriveLetters(const HostFacts& facts);

// Where the volume of a valid path begins: "D:\" for D:/Data and \\?\D:\Data, "\\?\GLOBALROOT\Device\X\" for
// \Device\X\Data.
std::filesystem::path rootOf(const std::filesystem::path& path);

} // namespace kelvane::system_requirements
