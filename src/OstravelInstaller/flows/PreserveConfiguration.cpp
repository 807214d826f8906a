#include "OstravelInstaller/flows/PreserveConfiguration.h"

#include "OstravelInstaller/package/MsiProperties.h"
#include "ProductLib/InstallerEvents.h"
#include "SharedLib/AgentConfigUtils.h"
#include "SharedLib/ConfigBackup.h"
#include "libkelvane/ProxyUtilities.h"
#include "libkelvane/UserLog.h"
#include "libwin32/Text.h"

#include <utility>

namespace kelvane::bst {
namespace {

constexpr std::wstring_view serverProxyProperty = L"SERVER_PROXY";

bool callerSetProxy(const RunContext& context) {
    return context.cmdLine.getInstallerProperty(serverProxyProperty).has_value();
}

void useServerProxy(RunContext& context, const std::wstring& proxy) {
    appendServerProxy(context.msiArguments, proxy);
    context.serverProxy = proxy;
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
        useServerProxy(context, setting);
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

bool backUp(RunContext& context) {
    const Options& options = context.cmdLine.options();
    if (options.dont_preserve_config_dir.value) return true;
    auto backup = backupConfigDir(context.installedAgent.configDir);
    if (!backup) return options.dont_fail_on_config_preserving_failures.value;
    context.configBackup = std::move(*backup);
    return true;
}

void useUwfMode(RunContext& context) {
    context.telemetry.SetValue(TelemetryKey::uwfModeEnabled, context.uwfMode ? L"true" : L"false");
    if (context.uwfMode) appendUwfMode(context.msiArguments);
}

void preserveUwfMode(RunContext& context) {
    try {
        if (!context.installedAgent.configDir) return;
        context.uwfMode = readUwfMode(*context.installedAgent.configDir);
        useUwfMode(context);
    } catch (const std::exception& error) {
        userLog(LogLevel::Error, std::string("Error creating backup of kelvane config: ") + error.what());
    }
}

// What the run before the reboot preserved.
void takeOver(RunContext& context) {
    if (context.serverProxy) appendServerProxy(context.msiArguments, *context.serverProxy);
    if (context.uwfMode) useUwfMode(context);
}

} // namespace

bool preserveConfiguration(RunContext& context) {
    const Options& options = context.cmdLine.options();
    if (options.afterReboot()) takeOver(context);
    if (!options.stateless() || options.clean_only.value || options.afterReboot()) return true;
    if (!preserveProxyGuarded(context) || !backUp(context)) return false;
    preserveUwfMode(context);
    return true;
}

void completeProxyProperty(RunContext& context) {
    if (!context.cmdLine->dont_preserve_proxy.value || callerSetProxy(context)) return;
    logEvent(LogLevel::Verbose, "SettingServerProxyToNone");
    useServerProxy(context, L"none");
}

std::optional<std::filesystem::path> configDirForPackage(const RunContext& context) {
    return context.configBackup ? std::optional(configBackupDirectory()) : std::nullopt;
}

void forgetConfigBackup(RunContext& context) noexcept {
    context.configBackup.reset(); // nobody else can remove it while it is open here
    removeConfigBackup();
}

} // namespace kelvane::bst
