#pragma once

#include "SharedLib/HostFacts.h"
#include "SharedLib/NotSupportedException.h"

#include <functional>
#include <optional>
#include <string>

// Whether this host can run the agent. No check changes the machine.
namespace kelvane::system_requirements {

struct SystemRequirementsFlags {
    bool skipMemory = false;            // SKIP_MEM_CHECK
    bool skipCatalogDatabase = false;   // SKIP_CRYPTSVC_CHECK
    bool skipTls = false;               // SKIP_TLS_CHECK
    bool skipInstalledAgentDisk = true; // else an installed agent needs no space for a fresh installation
    bool upgradeOfInstalledAgent = false;
};

// Told of what is unfavourable but no reason to refuse.
using WarningCallback = std::function<void(const std::wstring&)>;

// Runs the checks in their order; the first requirement that is not met is thrown as a NotSupportedException (or one of
// the classes derived from it), a Windows call that fails as a Win32Error or filesystem_error.
void checkSystemRequirements(const std::wstring& dataFolder, const SystemRequirementsFlags& flags,
                             const WarningCallback& onWarning);
// The same over other facts than this machine's.
void checkSystemRequirements(const std::wstring& dataFolder, const SystemRequirementsFlags& flags,
                             const WarningCallback& onWarning, const HostFacts& facts);

// The package's property that moves the agent's data directory.
inline constexpr wchar_t agentDataDirProperty[] = L"CUSTOM_DATA_DIR";
// The folder whose space and place are checked: the value of that property when it is given, else
// %ProgramData%\Ostravel.
std::wstring agentDataFolder(const std::optional<std::wstring>& propertyValue);

} // namespace kelvane::system_requirements
