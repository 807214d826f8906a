#include "SharedLib/AgentConfigUtils.h"

#include "ProductLib/AgentRegKeys.h"
#include "ProductLib/InstallerEvents.h"
#include "SharedLib/PatientQuestion.h"
#include "libkelvane/FileUtilities.h"
#include "libkelvane/JsonUtils.h"
#include "libwin32/Services.h"
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

// A text that may go into a record, a header or a command line.
std::string readText(const web::json::value& config, std::string_view field) {
    auto text = JsonUtils::getString(config, field);
    if (win32::hasControlCharacter(text))
        throw std::runtime_error(std::string(field) + " field holds a control character");
    return text;
}

std::string readTextOrNone(const web::json::value& config, std::string_view field) noexcept {
    try {
        return readText(config, field);
    } catch (const std::exception&) {
        return {};
    }
}

// Members of another form are none: they say nothing about the proxy.
bool hasRealServer(const web::json::value& config) {
    const auto server = readTextOrNone(config, "mgmtServer");
    return !server.empty() && !isPlaceholderServer(server) && !readTextOrNone(config, "site").empty();
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
    auto uid = readText(JsonUtils::readFile(configDir / agentUidFile), "_uid");
    if (uid.empty()) throw std::runtime_error("_uid field is empty");
    if (uid.find_first_of(" \"") != std::string::npos) throw std::runtime_error("_uid field fits no property");
    return uid;
}

bool readIsVdi(const std::filesystem::path& configDir) {
    return JsonUtils::getBoolean(JsonUtils::readFile(configDir / agentUidFile), "_vdi");
}

ManagementSettings readManagementSettings(const std::filesystem::path& configDir) {
    const auto config = JsonUtils::readFile(configDir / userConfigFile);
    return {readText(config, "mgmtServer"), readText(config, "site")};
}

std::optional<std::string> readProxy(const std::filesystem::path& configDir) {
    const auto config = JsonUtils::readFile(configDir / userConfigFile);
    if (!hasRealServer(config)) return std::nullopt;
    return JsonUtils::hasField(config, "proxy") ? readText(config, "proxy") : std::string();
}

std::string readSiteKey(const std::filesystem::path& configDir) {
    return readText(JsonUtils::readFile(configDir / userConfigFile), "site_key");
}

bool readUwfMode(const std::filesystem::path& configDir) {
    const auto file = configDir / readOnlyConfigFile;
    if (!FileUtilities::exists(file)) return false;
    const auto config = JsonUtils::readFile(file);
    return JsonUtils::hasField(config, "uwfMode") && JsonUtils::getBoolean(config, "uwfMode");
}

bool agentReady(const InstalledAgentInfo& agent) {
    const auto& configDir = agent.configDir ? agent.configDir : agent.unjudgedConfigDir;
    return askPatiently("InstalledAgentReadinessFailed", [&] {
        const bool running = win32::serviceState(L"KelvaneAgent") == DWORD{SERVICE_RUNNING};
        const bool configured = configDir && validConfigDir(*configDir);
        logEvent(LogLevel::Verbose, "InstalledAgentReadiness",
                 {{"ServiceRunning", running}, {"ConfigDirValid", configured}, {"MgmtLastSeen", mgmtLastSeen()}});
        return running && configured;
    });
}

} // namespace kelvane
