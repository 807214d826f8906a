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
    return context.asked.cmdLine.getInstallerProperty(serverProxyProperty).has_value();
}

void useServerProxy(RunContext& context, const std::wstring& proxy) {
    appendServerProxy(context.decided.msiArguments, proxy);
    context.decided.serverProxy = proxy;
}

void preserveProxy(RunContext& context) {
    if (context.asked.cmdLine->dont_preserve_proxy.value || callerSetProxy(context)) return;
    if (!context.found.agent.configDir) {
        logEvent(LogLevel::Verbose, "OldProxyConfigWasntFound");
        return;
    }
    const auto proxy = readProxy(*context.found.agent.configDir);
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
        return context.asked.cmdLine->dont_fail_on_config_preserving_failures.value;
    }
}

bool backUp(RunContext& context) {
    const Options& options = context.asked.cmdLine.options();
    if (options.dont_preserve_config_dir.value) return true;
    auto backup = backupConfigDir(context.found.agent.configDir);
    if (!backup) return options.dont_fail_on_config_preserving_failures.value;
    context.carried.configBackup = std::move(*backup);
    return true;
}

void useUwfMode(RunContext& context) {
    context.reported.telemetry.SetValue(TelemetryKey::uwfModeEnabled, context.decided.uwfMode ? L"true" : L"false");
    if (context.decided.uwfMode) appendUwfMode(context.decided.msiArguments);
}

void preserveUwfMode(RunContext& context) {
    try {
        if (!context.found.agent.configDir) return;
        context.decided.uwfMode = readUwfMode(*context.found.agent.configDir);
        useUwfMode(context);
    } catch (const std::exception& error) {
        userLog(LogLevel::Error, std::string("Error creating backup of kelvane config: ") + error.what());
    }
}

// What the run before the reboot preserved.
void takeOver(RunContext& context) {
    if (context.decided.serverProxy) appendServerProxy(context.decided.msiArguments, *context.decided.serverProxy);
    if (context.decided.uwfMode) useUwfMode(context);
}

} // namespace

bool preserveConfiguration(RunContext& context) {
    const Options& options = context.asked.cmdLine.options();
    if (options.afterReboot()) takeOver(context);
    if (!options.stateless() || options.clean_only.value || options.afterReboot()) return true;
    if (!preserveProxyGuarded(context) || !backUp(context)) return false;
    preserveUwfMode(context);
    return true;
}

void completeProxyProperty(RunContext& context) {
    if (!context.asked.cmdLine->dont_preserve_proxy.value || callerSetProxy(context)) return;
    logEvent(LogLevel::Verbose, "SettingServerProxyToNone");
    useServerProxy(context, L"none");
}

std::optional<std::filesystem::path> configDirForPackage(const Carried& carried) {
    return carried.configBackup ? std::optional(configBackupDirectory()) : std::nullopt;
}

void forgetConfigBackup(Carried& carried) noexcept {
    carried.configBackup.reset(); // nobody else can remove it while it is open here
    removeConfigBackup();
}

} // namespace kelvane::bst
