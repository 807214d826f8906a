#include "SharedLib/SystemRequirements.h"

#include "SharedLib/CatalogDatabase.h"
#include "SharedLib/DiskRequirements.h"
#include "SharedLib/HostFacts.h"
#include "SharedLib/TlsRequirements.h"
#include "libkelvane/PathUtils.h"

namespace kelvane::system_requirements {
namespace {

// 1000 MiB; the message rounds it.
constexpr std::uint64_t requiredMemory = 1'048'576'000;

void require(bool met, const char* message) {
    if (!met) throw NotSupportedException(message);
}

void checkDisk(const HostFacts& facts, const std::wstring& dataFolder, const SystemRequirementsFlags& flags) {
    if (flags.skipInstalledAgentDisk || !facts.agentKeyOpens()) {
        checkDiskForInstallation(facts, dataFolder);
    } else if (flags.upgradeOfInstalledAgent) {
        checkDiskForUpgrade(facts);
    }
}

void checkPlatformUpdates(const HostFacts& facts) {
    require(
        facts.kernelExportsAddDllDirectory(),
        "Microsoft KB2533623 (Insecure library loading could allow remote code execution) must be installed. After "
        "installation of the update you need to restart your computer and begin the Agent installation process again.");
    require(
        facts.cryptExportsStrongHashCheck(),
        "SHA256 code signing is not supported - Microsoft KB3033929 - Security Update for Windows must be installed.");
}

} // namespace

void checkSystemRequirements(const std::wstring& dataFolder, const SystemRequirementsFlags& flags,
                             const WarningCallback& onWarning, const HostFacts& facts) {
    require(facts.isWindows7Sp1OrGreater(), "Windows 7 SP1 / Windows Server 2008 R2 SP1 or newer is required.");
    if (!flags.skipMemory) {
        require(facts.physicalMemoryBytes() >= requiredMemory, "Minimum 1 GB of RAM is required.");
    }
    checkDisk(facts, dataFolder, flags);
    checkSystemDriveLetters(facts);
    checkPlatformUpdates(facts);
    if (!flags.skipCatalogDatabase) checkCatalogDatabases(facts.catalogDatabases());
    if (!flags.skipTls) checkTls(facts, onWarning);
}

void checkSystemRequirements(const std::wstring& dataFolder, const SystemRequirementsFlags& flags,
                             const WarningCallback& onWarning) {
    checkSystemRequirements(dataFolder, flags, onWarning, SystemFacts());
}

std::wstring agentDataFolder(const std::optional<std::wstring>& propertyValue) {
    return propertyValue && !propertyValue->empty() ? *propertyValue
                                                    : (PathUtils::programData() / L"Ostravel").wstring();
}

} // namespace kelvane::system_requirements
