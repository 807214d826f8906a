#include "OstravelInstaller/reporting/ReportingProxy.h"

#include "OstravelInstallerLib/InstallerProperty.h"
#include "ProductLib/InstallerEvents.h"
#include "libkelvane/ProxyUtilities.h"
#include "libwin32/Text.h"

namespace kelvane::bst {
namespace {

std::wstring proxySetting(const RunContext& context) {
    if (auto given = findInstallerProperty(context.msiArguments, L"SERVER_PROXY")) return *given;
    return win32::toWide(context.agentProxy.value_or(""));
}

std::optional<ProxyUtilities::ProxyConfiguration> proxyConfiguration(const RunContext& context) {
    const std::wstring setting = proxySetting(context);
    if (setting.empty()) {
        logEvent(LogLevel::Verbose, "UsingEmptyProxy");
        return std::nullopt;
    }
    auto configuration = ProxyUtilities::ParseProxyConfiguration(setting);
    logEvent(LogLevel::Verbose, "FoundProxy", {{"Proxy", ProxyUtilities::ProxyToString(configuration)}});
    return configuration;
}

} // namespace

std::optional<web::http::client::http_client_config> reportingClientConfig(const RunContext& context,
                                                                           const std::wstring& server) noexcept {
    try {
        return ProxyUtilities::MakeHttpClientConfig(server, proxyConfiguration(context));
    } catch (const std::exception& error) {
        logEvent(LogLevel::Error, "FailedDeterminingProxyConfig", {{"ErrorMsg", error.what()}});
        return std::nullopt;
    }
}

} // namespace kelvane::bst
