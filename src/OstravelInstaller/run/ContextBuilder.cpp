#include "OstravelInstaller/run/ContextBuilder.h"

#include "OstravelInstaller/package/MsiProperties.h"
#include "OstravelInstaller/reporting/TelemetryStart.h"
#include "ProductLib/InstallerEvents.h"
#include "libkelvane/FileUtilities.h"
#include "libkelvane/Guid.h"
#include "libkelvane/PathUtils.h"
#include "libkelvane/UserLog.h"
#include "libwin32/Text.h"

#include <stdexcept>

namespace kelvane::bst {
namespace {

// A folder of the run's own in the base folder, unless the command line names one.
void useWorkingDirectory(Carried& carried, const Option<std::wstring>& given) {
    if (given.given) {
        const std::filesystem::path directory = given.value;
        carried.tempDirCreated = FileUtilities::createProtectedDirectories(directory);
        carried.tempDir = directory.wstring();
    } else {
        if (!carried.baseFolder.usable()) throw std::runtime_error(carried.baseFolder.failure());
        carried.tempDir = carried.baseFolder.makeFolder(runFolderPrefix).wstring();
        carried.tempDirCreated = true;
    }
}

void chooseWorkingDirectory(Carried& carried, const Option<std::wstring>& given) {
    try {
        useWorkingDirectory(carried, given);
    } catch (const std::exception& error) {
        userLog(LogLevel::Error, "The required base directory does not exist and could not be created, falling back to "
                                 "windows temp directory");
        userLog(LogLevel::Error, error.what());
        carried.tempDir = PathUtils::windowsTemp().wstring();
        carried.tempDirIsFallback = true;
    }
}

// The option, else the package's property, else a new one. A property that cannot be passed on as it is counts as none.
std::wstring chosenInstallationId(const OstravelInstallerCmdLine& cmdLine) {
    const auto& option = cmdLine->INSTALLATION_ID;
    if (option.given) return option.value;
    const auto value = cmdLine.getInstallerProperty(L"INSTALLATION_ID").value_or(L"");
    return value.empty() || value.find_first_of(L"\"\r\n") != std::wstring::npos ? newGuid() : value;
}

std::wstring baseProperties(const Asked& asked, const Found& found) {
    BaseProperties properties;
    properties.installerArguments = asked.cmdLine->installer_arguments.value;
    properties.diagUid = asked.diagUid;
    properties.initiator = asked.initiator;
    properties.vdi = found.isVdi;
    if (found.agentUid && !asked.cmdLine->dont_preserve_agent_uid.value) {
        properties.agentUid = win32::toWide(*found.agentUid);
    }
    return basePropertyString(properties);
}

} // namespace

void buildRunContext(Asked& asked, RunContext& context, const std::optional<ResumedRun>& resumed) {
    const Options& options = asked.cmdLine.options();
    chooseWorkingDirectory(context.carried, options.temp_path);
    context.found = findAgent(options.fallback_site_token.value);
    asked.initiator = options.INSTALLATION_INITIATOR.given ? options.INSTALLATION_INITIATOR.value : L"Other";
    if (options.alternative_installer_path.given) asked.alternativeInstaller = options.alternative_installer_path.value;
    const bool restored = resumed && resumed->state.complete();
    if (restored) restore(asked, context, resumed->state);
    asked.installationId = chosenInstallationId(asked.cmdLine);
    asked.diagUid = options.diagnostic_UID.given ? options.diagnostic_UID.value : newGuid();
    context.decided.msiArguments = baseProperties(asked, context.found);
    context.reported.forceLogUpload = options.send_log.value;

    auto& record = context.reported.telemetry;
    startTelemetry(record, asked, context.found, restored ? std::optional(resumed->state.record) : std::nullopt);
    if (const auto& token = context.found.siteToken) record.SetValueUtf8(TelemetryKey::siteToken, *token);
    context.decided.reinstallReason = reinstallReasonOfName(options.BST_REINSTALL_REASON.value);
    if (const auto reason = context.decided.reinstallReason) {
        record.SetValue(TelemetryKey::statelessReason, reinstallReasonName(*reason));
    }
}

} // namespace kelvane::bst
