#pragma once

#include <optional>
#include <string>

// The proxies that the system keeps or finds, for requests to one server. Nothing: go to the server directly, also
// where a bypass list says so. Each throws Win32Error.
namespace kelvane::ProxyUtilities {

// The machine's WinHTTP default proxy.
std::optional<std::wstring> proxyOfMachine(const std::wstring& server);
// What the automatic configuration script at the address answers.
std::optional<std::wstring> proxyFromScript(const std::wstring& server, const std::wstring& scriptAddress);
// What the network announces. Also throws when it announces nothing.
std::optional<std::wstring> proxyOfNetwork(const std::wstring& server);
// The proxy settings of the user at the console, read in that user's context.
std::optional<std::wstring> proxyOfInteractiveUser(const std::wstring& server);

} // namespace kelvane::ProxyUtilities
