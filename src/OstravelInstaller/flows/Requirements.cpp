#include "OstravelInstaller/flows/Requirements.h"

#include "OstravelInstaller/context/Messages.h"
#include "OstravelInstallerLib/Console.h"
#include "ProductLib/InstallerEvents.h"
#include "SharedLib/SystemRequirements.h"
#include "libwin32/Text.h"

namespace kelvane::bst {
namespace {

using namespace system_requirements;

bool flagProperty(const OstravelInstallerCmdLine& cmdLine, std::wstring_view name) {
    return cmdLine.getInstallerProperty(name) == L"true";
}

SystemRequirementsFlags flagsOf(const OstravelInstallerCmdLine& cmdLine, RequirementsOf what) {
    const bool upgrade = what == RequirementsOf::Upgrade;
    return {.skipMemory = flagProperty(cmdLine, L"SKIP_MEM_CHECK"),
            .skipCatalogDatabase = flagProperty(cmdLine, L"SKIP_CRYPTSVC_CHECK"),
            .skipTls = flagProperty(cmdLine, L"SKIP_TLS_CHECK"),
            .skipInstalledAgentDisk = !upgrade,
            .upgradeOfInstalledAgent = upgrade};
}

void check(const OstravelInstallerCmdLine& cmdLine, RequirementsOf what) {
    const auto dataFolder = agentDataFolder(cmdLine.getInstallerProperty(agentDataDirProperty));
    checkSystemRequirements(dataFolder, flagsOf(cmdLine, what), [](const std::wstring& warning) {
        logEvent(LogLevel::Error, "CheckSystemRequirementsInfo", {{"Message", warning}});
    });
    logEvent(LogLevel::Verbose, "CheckSystemRequirementsMet");
}

InstallerResult refuse(const char* event, const std::exception& error) {
    logEvent(LogLevel::Error, event, {{"ErrorMsg", error.what()}});
    printLine(std::wstring(messages::requirementsNotMet) + win32::toWide(error.what()));
    return InstallerResult::RequirementsNotMet;
}

} // namespace

std::optional<InstallerResult> checkRequirements(const OstravelInstallerCmdLine& cmdLine, RequirementsOf what) {
    try {
        check(cmdLine, what);
        return std::nullopt;
    } catch (const NotSupportedExceptionDiskSpaceForUpgrade& error) {
        logEvent(LogLevel::Error, "SystemRequirementsNotMetDiskSpace", {{"ErrorMsg", error.what()}});
        return InstallerResult::DiskSpaceForUpgrade;
    } catch (const NotSupportedException& error) {
        return refuse("SystemRequirementsNotMet", error);
    } catch (const std::exception& error) {
        return refuse("CheckSystemRequirementsFailure", error);
    }
}

} // namespace kelvane::bst
