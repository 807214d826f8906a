#include "OstravelInstaller/run/ContextBuilder.h"

#include "OstravelInstaller/context/FindAgent.h"
#include "OstravelInstaller/continuation/ContinuationFolder.h"
#include "OstravelInstaller/package/MsiProperties.h"
#include "OstravelInstaller/reporting/TelemetryStart.h"
#include "ProductLib/InstallerEvents.h"
#include "libkelvane/FileUtilities.h"
#include "libkelvane/Guid.h"
#include "libkelvane/PathUtils.h"
#include "libkelvane/UserLog.h"
#include "libwin32/Text.h"

namespace kelvane::bst {
namespace {

std::filesystem::path chosenDirectory(const Options& options) {
    if (options.temp_path.given) return std::filesystem::absolute(options.temp_path.value);
    return PathUtils::windowsTemp() / (L"OstravelInstaller_" + newGuid());
}

void chooseWorkingDirectory(RunContext& context) {
    const auto directory = chosenDirectory(context.cmdLine.options());
    try {
        context.tempDirCreated = FileUtilities::createProtectedDirectories(directory);
        context.tempDir = directory.wstring();
    } catch (const std::exception&) {
        userLog(LogLevel::Error, "The required base directory does not exist and could not be created, falling back to "
                                 "windows temp directory");
        context.tempDir = PathUtils::windowsTemp().wstring();
        context.tempDirIsFallback = true;
    }
}

std::wstring chosenId(const RunContext& context, const Option<std::wstring>& option, std::wstring_view property) {
    if (option.given) return option.value;
    if (auto value = context.cmdLine.getInstallerProperty(property)) return *value;
    return newGuid();
}

std::wstring baseProperties(const RunContext& context) {
    const Options& options = context.cmdLine.options();
    BaseProperties properties;
    properties.installerArguments = options.installer_arguments.value;
    properties.diagUid = context.diagUid;
    properties.initiator = options.INSTALLATION_INITIATOR.given ? options.INSTALLATION_INITIATOR.value : L"Other";
    properties.vdi = context.isVdi;
    if (context.agentUid && !options.dont_preserve_agent_uid.value) {
        properties.agentUid = win32::toWide(*context.agentUid);
    }
    return basePropertyString(properties);
}

} // namespace

void buildRunContext(RunContext& context) {
    const Options& options = context.cmdLine.options();
    chooseWorkingDirectory(context);
    findAgent(context);
    context.installationId = chosenId(context, options.INSTALLATION_ID, L"INSTALLATION_ID");
    context.diagUid = options.diagnostic_UID.given ? options.diagnostic_UID.value : newGuid();
    context.reinstallReason = reinstallReasonOfName(options.BST_REINSTALL_REASON.value);
    context.forceLogUpload = options.send_log.value;
    context.msiArguments = baseProperties(context);
    startTelemetry(context, loadSavedTelemetryRecord());
    if (const auto token = context.siteToken()) context.telemetry.SetValueUtf8(TelemetryKey::siteToken, *token);
}

} // namespace kelvane::bst
