#pragma once

#include <optional>
#include <string>
#include <string_view>

// The proxies that the system keeps or finds, for requests to one server. Nothing: go to the server directly.
// Each throws Win32Error.
namespace kelvane::ProxyUtilities {

// The machine's WinHTTP default proxy.
std::optional<std::wstring> proxyOfMachine(std::wstring_view server);
// What the automatic configuration script at the address answers.
std::optional<std::wstring> proxyFromScript(const std::wstring& server, const std::wstring& scriptAddress);
// The proxy settings of the user at the console, read in that user's context.
std::optional<std::wstring> proxyOfInteractiveUser(const std::wstring& server);

// Out of a WinHTTP proxy list ("proxy:8080", or "http=a:1;https=b:2") the one for the server's scheme.
std::optional<std::wstring> proxyForScheme(std::wstring_view list, std::wstring_view server);

} // namespace kelvane::ProxyUtilities
