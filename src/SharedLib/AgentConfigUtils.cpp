#include "SharedLib/AgentConfigUtils.h"

#include "ProductLib/AgentRegKeys.h"
#include "ProductLib/InstallerEvents.h"
#include "ProductLib/ServiceStatus.h"
#include "libkelvane/FileUtilities.h"
#include "libkelvane/JsonUtils.h"
#include "libwin32/Text.h"
#include "libwin32/Win32Error.h"

#include <algorithm>
#include <cstdint>

namespace kelvane {
namespace {

using bst::logEvent;
using bst::LogLevel;

constexpr const wchar_t* agentUidFile = L"AgentUid.json";
constexpr const wchar_t* userConfigFile = L"UserConfig.json";
constexpr const wchar_t* readOnlyConfigFile = L"ReadOnlyConfig.json";

// Addresses that stand in the configuration of an agent without a real server.
bool isPlaceholderServer(const std::string& server) {
    constexpr std::wstring_view placeholders[] = {L"http://localhost", L"https://0.0.0.0"};
    const auto wide = win32::toWide(server);
    return std::ranges::any_of(
        placeholders, [&](std::wstring_view placeholder) { return win32::equalsIgnoringAsciiCase(wide, placeholder); });
}

// When the agent last reached its server, as its 64-bit time stamp; "unknown" when that cannot be read.
std::wstring mgmtLastSeen() {
    try {
        std::uint64_t time = 0;
        RegKey(HKEY_LOCAL_MACHINE, AgentRegKeys::agentConfig).readData(AgentRegKeys::mgmtLastSeen, &time, sizeof(time));
        return std::to_wstring(time);
    } catch (const win32::Win32Error&) {
        return L"unknown";
    }
}

} // namespace

std::string readAgentUid(const std::filesystem::path& configDir) {
    return JsonUtils::getString(JsonUtils::readFile(configDir / agentUidFile), "_uid");
}

bool readIsVdi(const std::filesystem::path& configDir) {
    return JsonUtils::getBoolean(JsonUtils::readFile(configDir / agentUidFile), "_vdi");
}

ManagementSettings readManagementSettings(const std::filesystem::path& configDir) {
    const auto config = JsonUtils::readFile(configDir / userConfigFile);
    return {JsonUtils::getString(config, "mgmtServer"), JsonUtils::getString(config, "site")};
}

std::optional<std::string> readProxy(const std::filesystem::path& configDir) {
    const auto config = JsonUtils::readFile(configDir / userConfigFile);
    const auto server = JsonUtils::getString(config, "mgmtServer");
    const auto site = JsonUtils::getString(config, "site");
    if (server.empty() || site.empty() || isPlaceholderServer(server)) return std::nullopt;
    return JsonUtils::getString(config, "proxy");
}

std::string readSiteKey(const std::filesystem::path& configDir) {
    return JsonUtils::getString(JsonUtils::readFile(configDir / userConfigFile), "site_key");
}

bool readUwfMode(const std::filesystem::path& configDir) {
    const auto file = configDir / readOnlyConfigFile;
    if (!FileUtilities::exists(file)) return false;
    const auto config = JsonUtils::readFile(file);
    return JsonUtils::hasField(config, "uwfMode") && JsonUtils::getBoolean(config, "uwfMode");
}

bool agentReady(const InstalledAgentInfo& agent) noexcept {
    try {
        const bool running = isServiceRunning(L"KelvaneAgent");
        const bool configured = agent.configDir && validConfigDir(*agent.configDir);
        logEvent(LogLevel::Verbose, "InstalledAgentReadiness",
                 {{"ServiceRunning", running}, {"ConfigDirValid", configured}, {"MgmtLastSeen", mgmtLastSeen()}});
        return running && configured;
    } catch (const std::exception& error) {
        logEvent(LogLevel::Error, "InstalledAgentReadinessFailed", {{"ErrorMsg", error.what()}});
        return false;
    }
}

} // namespace kelvane
