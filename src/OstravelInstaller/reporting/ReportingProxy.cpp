#include "OstravelInstaller/reporting/ReportingProxy.h"

#include "OstravelInstallerLib/InstallerProperty.h"
#include "ProductLib/InstallerEvents.h"
#include "libkelvane/ProxyUtilities.h"
#include "libwin32/Text.h"

namespace kelvane::bst {
namespace {

std::wstring proxySetting(std::wstring_view msiArguments, const Found& found) {
    if (auto given = findInstallerProperty(msiArguments, L"SERVER_PROXY")) return *given;
    return win32::toWide(found.proxy.value_or(""));
}

std::optional<ProxyUtilities::ProxyConfiguration> proxyConfiguration(const std::wstring& setting) {
    if (setting.empty()) {
        logEvent(LogLevel::Verbose, "UsingEmptyProxy");
        return std::nullopt;
    }
    auto configuration = ProxyUtilities::ParseProxyConfiguration(setting);
    logEvent(LogLevel::Verbose, "FoundProxy", {{"Proxy", ProxyUtilities::ProxyToString(configuration)}});
    return configuration;
}

} // namespace

std::optional<web::http::client::http_client_config>
reportingClientConfig(const std::wstring& server, std::wstring_view msiArguments, const Found& found) noexcept {
    try {
        return ProxyUtilities::MakeHttpClientConfig(server, proxyConfiguration(proxySetting(msiArguments, found)));
    } catch (const std::exception& error) {
        logEvent(LogLevel::Error, "FailedDeterminingProxyConfig", {{"ErrorMsg", error.what()}});
        return std::nullopt;
    }
}

} // namespace kelvane::bst
