#pragma once

#include "libkelvane/HttpLibrary.h"

#include <optional>
#include <string>
#include <string_view>

// The agent's proxy setting, a short text, as a configuration of the HTTP client.
namespace kelvane::ProxyUtilities {

enum class ProxyKind { Disabled, Default, AutoDiscovery, Specified };

// Where a Default or AutoDiscovery setting is looked up.
enum class ProxySource {
    Machine,
    ConfigurationScript, // `address` is the script's
    InteractiveUser,
};

struct ProxyConfiguration {
    ProxyKind kind = ProxyKind::Default;
    ProxySource source = ProxySource::Machine;
    web::uri address;
    std::optional<std::wstring> credentialName; // an entry of the credential store

    bool operator==(const ProxyConfiguration& other) const = default;
};

// "none", "auto", "system", "pac,ADDRESS", "user" or "user,CREDENTIAL", else a proxy's address; white space around the
// text is left out of account. Throws std::runtime_error "Configuration is not a valid proxy configuration" for an
// empty text, and what MakeProxyUri throws.
ProxyConfiguration ParseProxyConfiguration(std::wstring_view text);

// A proxy setting or address as it may be logged and reported: without its user part, where a password may stand.
std::wstring withoutUserPart(std::wstring_view setting);

// For the log: "[disabled]", "[default]", "[auto discovery]", "[specified] ADDRESS" (without a user part);
// "<null>" for none.
std::wstring ProxyToString(const std::optional<ProxyConfiguration>& configuration);

// An address without a scheme gets "http://". Throws std::runtime_error "invalid proxy name".
web::uri MakeProxyUri(std::wstring_view address);

// The client configuration for requests to the server; looks up what the setting leaves to the system. Throws
// Win32Error, and std::invalid_argument "Cannot attach credentials to a disabled proxy".
web::http::client::http_client_config MakeHttpClientConfig(const std::wstring& server,
                                                           const std::optional<ProxyConfiguration>& configuration);

} // namespace kelvane::ProxyUtilities
