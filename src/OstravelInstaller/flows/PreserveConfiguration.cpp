#include "OstravelInstaller/flows/PreserveConfiguration.h"

#include "OstravelInstaller/package/MsiProperties.h"
#include "ProductLib/InstallerEvents.h"
#include "SharedLib/AgentConfigUtils.h"
#include "SharedLib/ConfigBackup.h"
#include "libkelvane/FileUtilities.h"
#include "libkelvane/ProxyUtilities.h"
#include "libkelvane/UserLog.h"
#include "libwin32/Text.h"

namespace kelvane::bst {
namespace {

constexpr std::wstring_view serverProxyProperty = L"SERVER_PROXY";

bool callerSetProxy(const RunContext& context) {
    return context.cmdLine.getInstallerProperty(serverProxyProperty).has_value();
}

void preserveProxy(RunContext& context) {
    if (context.cmdLine->dont_preserve_proxy.value || callerSetProxy(context)) return;
    if (!context.installedAgent.configDir) {
        logEvent(LogLevel::Verbose, "OldProxyConfigWasntFound");
        return;
    }
    const auto proxy = readProxy(*context.installedAgent.configDir);
    if (!proxy) {
        logEvent(LogLevel::Verbose, "OldProxyConfigWasntFound");
    } else if (proxy->empty()) {
        logEvent(LogLevel::Verbose, "FoundEmptyProxyConfig");
    } else {
        const auto setting = win32::toWide(*proxy);
        const auto logged = ProxyUtilities::withoutUserPart(setting);
        logEvent(LogLevel::Verbose, "FoundProxyConfig", {{"ProxyConfig", logged}});
        logEvent(LogLevel::Verbose, "UsingPreservedProxy", {{"PreservedProxy", logged}});
        appendServerProxy(context.msiArguments, setting);
    }
}

// Whether the run may go on after the old proxy could not be read.
bool preserveProxyGuarded(RunContext& context) {
    try {
        preserveProxy(context);
        return true;
    } catch (const std::exception& error) {
        logEvent(LogLevel::Error, "CouldNotDetermineProxy", {{"ErrorMsg", error.what()}});
        return context.cmdLine->dont_fail_on_config_preserving_failures.value;
    }
}

bool backUp(const RunContext& context) {
    const Options& options = context.cmdLine.options();
    if (options.dont_preserve_config_dir.value) return true;
    return backupConfigDir(context.installedAgent.configDir) || options.dont_fail_on_config_preserving_failures.value;
}

void preserveUwfMode(RunContext& context) {
    try {
        if (!context.installedAgent.configDir || !readUwfMode(*context.installedAgent.configDir)) return;
        appendUwfMode(context.msiArguments);
        context.telemetry.SetValue(TelemetryKey::uwfModeEnabled, L"true");
    } catch (const std::exception& error) {
        userLog(LogLevel::Error, std::string("Error creating backup of kelvane config: ") + error.what());
    }
}

} // namespace

bool preserveConfiguration(RunContext& context) {
    const Options& options = context.cmdLine.options();
    if (!options.stateless() || options.clean_only.value || options.afterReboot()) return true;
    if (!preserveProxyGuarded(context) || !backUp(context)) return false;
    preserveUwfMode(context);
    return true;
}

void completeProxyProperty(RunContext& context) {
    if (!context.cmdLine->dont_preserve_proxy.value || callerSetProxy(context)) return;
    logEvent(LogLevel::Verbose, "SettingServerProxyToNone");
    appendNoServerProxy(context.msiArguments);
}

std::optional<std::filesystem::path> configDirForPackage() {
    if (!FileUtilities::exists(configBackupDirectory())) return std::nullopt;
    return configBackupDirectory();
}

} // namespace kelvane::bst
