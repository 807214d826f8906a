#pragma once

#include <optional>
#include <string>
#include <string_view>

// The two lists of a WinHTTP proxy configuration, between ";" or white space.
namespace kelvane::ProxyUtilities {

// Whether the list says that the server is reached directly. Each entry is "[SCHEME://]HOST[:PORT]" with "*" for any
// run of characters in the host, or "<local>" for every host without a dot. Case counts nowhere.
bool isBypassed(std::wstring_view bypassList, const std::wstring& server);

// Out of a WinHTTP proxy list ("proxy:8080", or "http=a:1;https=b:2") the one for the server's scheme.
std::optional<std::wstring> proxyForScheme(std::wstring_view list, std::wstring_view server);

} // namespace kelvane::ProxyUtilities
