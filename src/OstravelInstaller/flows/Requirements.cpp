#include "OstravelInstaller/flows/Requirements.h"

#include "OstravelInstaller/context/Messages.h"
#include "OstravelInstallerLib/Console.h"
#include "ProductLib/InstallerEvents.h"
#include "SharedLib/SystemRequirements.h"
#include "libwin32/Text.h"

namespace kelvane::bst {
namespace {

using namespace system_requirements;

bool flagProperty(const RunContext& context, std::wstring_view name) {
    return context.cmdLine.getInstallerProperty(name) == L"true";
}

SystemRequirementsFlags flagsOf(const RunContext& context, RequirementsOf what) {
    const bool upgrade = what == RequirementsOf::Upgrade;
    return {.skipMemory = flagProperty(context, L"SKIP_MEM_CHECK"),
            .skipCatalogDatabase = flagProperty(context, L"SKIP_CRYPTSVC_CHECK"),
            .skipTls = flagProperty(context, L"SKIP_TLS_CHECK"),
            .skipInstalledAgentDisk = !upgrade,
            .upgradeOfInstalledAgent = upgrade};
}

void check(const RunContext& context, RequirementsOf what) {
    const auto dataFolder = agentDataFolder(context.cmdLine.getInstallerProperty(agentDataDirProperty));
    checkSystemRequirements(dataFolder, flagsOf(context, what), [](const std::wstring& warning) {
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

std::optional<InstallerResult> checkRequirements(const RunContext& context, RequirementsOf what) {
    try {
        check(context, what);
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
