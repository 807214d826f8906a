#include "OstravelInstaller/context/FindAgent.h"

#include "ProductLib/InstallerEvents.h"
#include "SharedLib/AgentConfigUtils.h"
#include "libkelvane/UserLog.h"

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

void findAgent(RunContext& context) {
    context.installedAgent = findInstalledAgent();
    const auto& configDir = context.installedAgent.configDir;
    if (!configDir) return;
    context.managementSettings = readOptional(readManagementSettings, *configDir);
    context.agentProxy = readOptional(readProxy, *configDir).value_or(std::nullopt);
    context.installedSiteToken = readSiteToken(*configDir);
    context.agentUid = readOptional(readAgentUid, *configDir);
    context.isVdi = readOptional(readIsVdi, *configDir).value_or(false);
}

} // namespace kelvane::bst
