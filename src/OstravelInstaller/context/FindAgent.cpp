#include "OstravelInstaller/context/FindAgent.h"

#include "ProductLib/InstallerEvents.h"
#include "libkelvane/UserLog.h"
#include "libwin32/Text.h"

namespace kelvane::bst {
namespace {

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

// The enrolment token, unless it is empty or would end the quotes that it is passed on in.
std::optional<std::string> readSiteToken(const std::filesystem::path& configDir) {
    auto token = readOptional(readSiteKey, configDir);
    if (!token || token->empty()) return std::nullopt;
    if (token->find('"') == std::string::npos) return token;
    userLog(LogLevel::Error, "The installed agent's site token holds a double quote");
    return std::nullopt;
}

} // namespace

Found findAgent(std::wstring_view fallbackSiteToken) {
    Found found{.agent = findInstalledAgent()};
    if (const auto& configDir = found.agent.configDir) {
        found.managementSettings = readOptional(readManagementSettings, *configDir);
        found.proxy = readOptional(readProxy, *configDir).value_or(std::nullopt);
        found.siteToken = readSiteToken(*configDir);
        found.agentUid = readOptional(readAgentUid, *configDir);
        found.isVdi = readOptional(readIsVdi, *configDir).value_or(false);
    }
    if (!found.siteToken && !fallbackSiteToken.empty()) found.siteToken = win32::toUtf8(fallbackSiteToken);
    return found;
}

} // namespace kelvane::bst
