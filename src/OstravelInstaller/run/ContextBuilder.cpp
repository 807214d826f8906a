#include "OstravelInstaller/run/ContextBuilder.h"

#include "OstravelInstaller/context/FindAgent.h"
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
void useWorkingDirectory(RunContext& context) {
    const auto& given = context.cmdLine.options().temp_path;
    if (given.given) {
        const std::filesystem::path directory = given.value;
        context.tempDirCreated = FileUtilities::createProtectedDirectories(directory);
        context.tempDir = directory.wstring();
    } else {
        if (!context.baseFolder.usable()) throw std::runtime_error(context.baseFolder.failure());
        context.tempDir = context.baseFolder.makeFolder(runFolderPrefix).wstring();
        context.tempDirCreated = true;
    }
}

void chooseWorkingDirectory(RunContext& context) {
    try {
        useWorkingDirectory(context);
    } catch (const std::exception& error) {
        userLog(LogLevel::Error, "The required base directory does not exist and could not be created, falling back to "
                                 "windows temp directory");
        userLog(LogLevel::Error, error.what());
        context.tempDir = PathUtils::windowsTemp().wstring();
        context.tempDirIsFallback = true;
    }
}

// The option, else the package's property, else a new one. A property that cannot be passed on as it is counts as none.
std::wstring chosenInstallationId(const RunContext& context) {
    const auto& option = context.cmdLine->INSTALLATION_ID;
    if (option.given) return option.value;
    const auto value = context.cmdLine.getInstallerProperty(L"INSTALLATION_ID").value_or(L"");
    return value.empty() || value.find_first_of(L"\"\r\n") != std::wstring::npos ? newGuid() : value;
}

std::wstring baseProperties(const RunContext& context) {
    BaseProperties properties;
    properties.installerArguments = context.cmdLine->installer_arguments.value;
    properties.diagUid = context.diagUid;
    properties.initiator = context.initiator;
    properties.vdi = context.isVdi;
    if (context.agentUid && !context.cmdLine->dont_preserve_agent_uid.value) {
        properties.agentUid = win32::toWide(*context.agentUid);
    }
    return basePropertyString(properties);
}

} // namespace

void buildRunContext(RunContext& context, const std::optional<ResumedRun>& resumed) {
    const Options& options = context.cmdLine.options();
    chooseWorkingDirectory(context);
    findAgent(context);
    context.initiator = options.INSTALLATION_INITIATOR.given ? options.INSTALLATION_INITIATOR.value : L"Other";
    if (options.alternative_installer_path.given) {
        context.alternativeInstaller = options.alternative_installer_path.value;
    }
    const bool restored = resumed && resumed->complete;
    if (restored) restore(context, resumed->state);
    context.installationId = chosenInstallationId(context);
    context.diagUid = options.diagnostic_UID.given ? options.diagnostic_UID.value : newGuid();
    context.reinstallReason = reinstallReasonOfName(options.BST_REINSTALL_REASON.value);
    context.forceLogUpload = options.send_log.value;
    context.msiArguments = baseProperties(context);
    startTelemetry(context, restored ? std::optional(resumed->state.record) : std::nullopt);
    if (const auto token = context.siteToken()) context.telemetry.SetValueUtf8(TelemetryKey::siteToken, *token);
    if (context.reinstallReason) {
        context.telemetry.SetValue(TelemetryKey::statelessReason, reinstallReasonName(*context.reinstallReason));
    }
}

} // namespace kelvane::bst
