#include "OstravelInstaller/run/ContextBuilder.h"

#include "OstravelInstaller/payload/ContinuationFolder.h"
#include "OstravelInstaller/payload/MsiProperties.h"
#include "OstravelInstaller/reporting/TelemetryStart.h"
#include "ProductLib/InstallerEvents.h"
#include "SharedLib/AgentConfigUtils.h"
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

// A value of the installed agent's files, or nothing: a file that cannot be read is logged and counts as silent.
template <class Reader>
auto readOptional(Reader reader, const std::filesystem::path& configDir) -> std::optional<decltype(reader(configDir))> {
    try {
        return reader(configDir);
    } catch (const std::exception& error) {
        userLog(LogLevel::Error, error.what());
        return std::nullopt;
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

void findAgent(RunContext& context) {
    context.installedAgent = findInstalledAgent();
    const auto& configDir = context.installedAgent.configDir;
    if (!configDir) return;
    context.managementSettings = readOptional(readManagementSettings, *configDir);
    context.agentProxy = readOptional(readProxy, *configDir).value_or(std::nullopt);
    context.installedSiteToken = readOptional(readSiteKey, *configDir);
    context.agentUid = readOptional(readAgentUid, *configDir);
    context.isVdi = readOptional(readIsVdi, *configDir).value_or(false);
}

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

std::optional<std::string> RunContext::siteToken() const {
    if (installedSiteToken) return installedSiteToken;
    if (cmdLine->fallback_site_token.given) return win32::toUtf8(cmdLine->fallback_site_token.value);
    return std::nullopt;
}

} // namespace kelvane::bst
