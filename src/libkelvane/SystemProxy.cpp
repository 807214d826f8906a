#include "libkelvane/SystemProxy.h"

#include "libwin32/ConsoleUser.h"
#include "libwin32/Handles.h"
#include "libwin32/Win32Error.h"

#include <windows.h>

#include <winhttp.h>

namespace kelvane::ProxyUtilities {
namespace {

struct GlobalTextTraits {
    using Type = wchar_t*;
    static bool isValid(wchar_t* text) { return text != nullptr; }
    static void close(wchar_t* text) { GlobalFree(text); }
};
using UniqueGlobalText = win32::UniqueResource<GlobalTextTraits>;

struct InternetTraits {
    using Type = HINTERNET;
    static bool isValid(HINTERNET handle) { return handle != nullptr; }
    static void close(HINTERNET handle) { WinHttpCloseHandle(handle); }
};
using UniqueInternet = win32::UniqueResource<InternetTraits>;

// Takes the texts out of a structure that WinHTTP filled; they are freed with GlobalFree.
std::optional<std::wstring> takeProxy(const WINHTTP_PROXY_INFO& info, std::wstring_view server) {
    const UniqueGlobalText proxy(info.lpszProxy);
    const UniqueGlobalText bypass(info.lpszProxyBypass);
    if (info.dwAccessType != WINHTTP_ACCESS_TYPE_NAMED_PROXY || !proxy) return std::nullopt;
    return proxyForScheme(proxy.get(), server);
}

std::optional<std::wstring> autoProxy(const std::wstring& server, const wchar_t* scriptAddress) {
    const UniqueInternet session(
        WinHttpOpen(nullptr, WINHTTP_ACCESS_TYPE_NO_PROXY, WINHTTP_NO_PROXY_NAME, WINHTTP_NO_PROXY_BYPASS, 0));
    win32::check(static_cast<bool>(session), "WinHttpOpen");
    WINHTTP_AUTOPROXY_OPTIONS options{};
    options.dwFlags = scriptAddress ? WINHTTP_AUTOPROXY_CONFIG_URL : WINHTTP_AUTOPROXY_AUTO_DETECT;
    options.dwAutoDetectFlags = scriptAddress ? 0 : WINHTTP_AUTO_DETECT_TYPE_DHCP | WINHTTP_AUTO_DETECT_TYPE_DNS_A;
    options.lpszAutoConfigUrl = scriptAddress;
    options.fAutoLogonIfChallenged = TRUE;
    WINHTTP_PROXY_INFO info{};
    win32::check(WinHttpGetProxyForUrl(session.get(), server.c_str(), &options, &info), "WinHttpGetProxyForUrl");
    return takeProxy(info, server);
}

} // namespace

std::optional<std::wstring> proxyForScheme(std::wstring_view list, std::wstring_view server) {
    const auto scheme = server.substr(0, server.find(L':'));
    while (!list.empty()) {
        const auto end = list.find_first_of(L"; ");
        const auto entry = list.substr(0, end);
        list.remove_prefix(end == std::wstring_view::npos ? list.size() : end + 1);
        const auto equals = entry.find(L'=');
        if (entry.empty()) continue;
        if (equals == std::wstring_view::npos) return std::wstring(entry);
        if (entry.substr(0, equals) == scheme) return std::wstring(entry.substr(equals + 1));
    }
    return std::nullopt;
}

std::optional<std::wstring> proxyOfMachine(std::wstring_view server) {
    WINHTTP_PROXY_INFO info{};
    win32::check(WinHttpGetDefaultProxyConfiguration(&info), "WinHttpGetDefaultProxyConfiguration");
    return takeProxy(info, server);
}

std::optional<std::wstring> proxyFromScript(const std::wstring& server, const std::wstring& scriptAddress) {
    return autoProxy(server, scriptAddress.c_str());
}

std::optional<std::wstring> proxyOfInteractiveUser(const std::wstring& server) {
    WINHTTP_CURRENT_USER_IE_PROXY_CONFIG config{};
    {
        const win32::ConsoleUserImpersonation user;
        win32::check(WinHttpGetIEProxyConfigForCurrentUser(&config), "WinHttpGetIEProxyConfigForCurrentUser");
    }
    const UniqueGlobalText script(config.lpszAutoConfigUrl);
    const UniqueGlobalText proxy(config.lpszProxy);
    const UniqueGlobalText bypass(config.lpszProxyBypass);
    if (config.fAutoDetect) {
        try {
            return autoProxy(server, nullptr);
        } catch (const win32::Win32Error& error) {
            // Most networks announce no script, and the setting is on by default: the next one counts.
            if (error.code() != ERROR_WINHTTP_AUTODETECTION_FAILED) throw;
        }
    }
    if (script) return autoProxy(server, script.get());
    return proxy ? proxyForScheme(proxy.get(), server) : std::nullopt;
}

} // namespace kelvane::ProxyUtilities
