#include "libkelvane/ProxyUtilities.h"

#include "libkelvane/SystemProxy.h"
#include "libkelvane/WindowsVersion.h"
#include "libwin32/CredentialStore.h"
#include "libwin32/Win32Error.h"

#include <algorithm>

namespace kelvane::ProxyUtilities {
namespace {

constexpr std::wstring_view scriptPrefix = L"pac,";
constexpr std::wstring_view userPrefix = L"user,";

std::wstring_view trim(std::wstring_view text) {
    constexpr std::wstring_view blanks = L" \t\r\n\v\f";
    const auto first = text.find_first_not_of(blanks);
    if (first == std::wstring_view::npos) return {};
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

ProxyConfiguration ofKind(ProxyKind kind) {
    ProxyConfiguration configuration;
    configuration.kind = kind;
    return configuration;
}

ProxyConfiguration ofUser(std::wstring_view credential) {
    ProxyConfiguration configuration;
    configuration.source = ProxySource::InteractiveUser;
    if (!credential.empty()) configuration.credentialName = std::wstring(credential);
    return configuration;
}

ProxyConfiguration withAddress(ProxyKind kind, ProxySource source, std::wstring_view address) {
    ProxyConfiguration configuration;
    configuration.kind = kind;
    configuration.source = source;
    configuration.address = MakeProxyUri(address);
    return configuration;
}

web::web_proxy namedProxy(const std::optional<std::wstring>& address) {
    return address ? web::web_proxy(MakeProxyUri(*address)) : web::web_proxy(web::web_proxy::disabled);
}

web::web_proxy discoveredProxy(const std::wstring& server) {
    constexpr WindowsVersion firstToDiscover{6, 3, 0};
    if (windowsVersion() >= firstToDiscover) return web::web_proxy(web::web_proxy::use_auto_discovery);
    // The HTTP library would fetch the script itself, run it in this process and log on where it is asked to.
    try {
        return namedProxy(proxyOfNetwork(server));
    } catch (const win32::Win32Error&) {
        return web::web_proxy(web::web_proxy::disabled);
    }
}

web::web_proxy resolve(const std::wstring& server, const ProxyConfiguration& configuration) {
    if (configuration.source == ProxySource::ConfigurationScript) {
        return namedProxy(proxyFromScript(server, configuration.address.to_string()));
    }
    if (configuration.source == ProxySource::InteractiveUser) return namedProxy(proxyOfInteractiveUser(server));
    switch (configuration.kind) {
    case ProxyKind::Disabled:
        return web::web_proxy(web::web_proxy::disabled);
    case ProxyKind::AutoDiscovery:
        return discoveredProxy(server);
    case ProxyKind::Specified:
        return web::web_proxy(configuration.address);
    case ProxyKind::Default:
        break;
    }
    return namedProxy(proxyOfMachine(server));
}

} // namespace

ProxyConfiguration ParseProxyConfiguration(std::wstring_view text) {
    text = trim(text);
    if (text.empty()) throw std::runtime_error("Configuration is not a valid proxy configuration");
    if (text == L"none") return ofKind(ProxyKind::Disabled);
    if (text == L"auto") return ofKind(ProxyKind::AutoDiscovery);
    if (text == L"system") return ofKind(ProxyKind::Default);
    if (text.starts_with(scriptPrefix)) {
        return withAddress(ProxyKind::AutoDiscovery, ProxySource::ConfigurationScript,
                           trim(text.substr(scriptPrefix.size())));
    }
    if (text == L"user") return ofUser({});
    if (text.starts_with(userPrefix)) return ofUser(trim(text.substr(userPrefix.size())));
    return withAddress(ProxyKind::Specified, ProxySource::Machine, text);
}

std::wstring withoutUserPart(std::wstring_view setting) {
    constexpr std::wstring_view schemeEnd = L"://";
    const auto at = setting.rfind(L'@');
    if (at == std::wstring_view::npos) return std::wstring(setting);
    const auto colon = std::min(setting.find(L':'), at);
    auto userPart = setting.starts_with(scriptPrefix) ? scriptPrefix.size() : 0;
    if (setting.substr(colon).starts_with(schemeEnd)) userPart = colon + schemeEnd.size();
    return std::wstring(setting.substr(0, userPart)).append(setting.substr(at + 1));
}

std::wstring ProxyToString(const std::optional<ProxyConfiguration>& configuration) {
    if (!configuration) return L"<null>";
    switch (configuration->kind) {
    case ProxyKind::Disabled:
        return L"[disabled]";
    case ProxyKind::Default:
        return L"[default]";
    case ProxyKind::AutoDiscovery:
        return L"[auto discovery]";
    case ProxyKind::Specified:
        return L"[specified] " + withoutUserPart(configuration->address.to_string());
    }
    return L"[unknown]";
}

web::uri MakeProxyUri(std::wstring_view address) {
    std::wstring text(address);
    if (text.find(L"://") == std::wstring::npos) text.insert(0, L"http://");
    // An empty port is none; the HTTP library would take for it what its memory holds.
    auto end = std::min(text.find_first_of(L"/?#", text.find(L"://") + 3), text.size());
    if (text[end - 1] == L':') text.erase(--end, 1);
    if (text[end - 1] == L':' || !web::uri::validate(text)) throw std::runtime_error("invalid proxy name");
    web::uri uri(text);
    if (uri.host().empty()) throw std::runtime_error("invalid proxy name");
    return uri;
}

web::http::client::http_client_config MakeHttpClientConfig(const std::wstring& server,
                                                           const std::optional<ProxyConfiguration>& configuration) {
    web::http::client::http_client_config config;
    if (!configuration) return config;
    auto proxy = resolve(server, *configuration);
    if (configuration->credentialName) {
        const auto credential = win32::readGenericCredential(*configuration->credentialName);
        proxy.set_credentials(web::credentials(credential.userName, credential.secret));
    }
    config.set_proxy(proxy);
    return config;
}

} // namespace kelvane::ProxyUtilities
