#include "libkelvane/SystemProxy.h"

#include "libkelvane/ProxyLists.h"
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

std::optional<std::wstring> proxyUnlessBypassed(const UniqueGlobalText& proxies, const UniqueGlobalText& bypassList,
                                                const std::wstring& server) {
    if (!proxies || (bypassList && isBypassed(bypassList.get(), server))) return std::nullopt;
    return proxyForScheme(proxies.get(), server);
}

// Takes the texts out of a structure that WinHTTP filled; they are freed with GlobalFree.
std::optional<std::wstring> takeProxy(const WINHTTP_PROXY_INFO& info, const std::wstring& server) {
    const UniqueGlobalText proxies(info.lpszProxy);
    const UniqueGlobalText bypassList(info.lpszProxyBypass);
    if (info.dwAccessType != WINHTTP_ACCESS_TYPE_NAMED_PROXY) return std::nullopt;
    return proxyUnlessBypassed(proxies, bypassList, server);
}

// The settings of whoever the thread stands for.
struct UserSettings {
    // Returns the error code, 0 for none.
    DWORD read() {
        WINHTTP_CURRENT_USER_IE_PROXY_CONFIG config{};
        if (!WinHttpGetIEProxyConfigForCurrentUser(&config)) return GetLastError();
        detect = config.fAutoDetect != FALSE;
        script.reset(config.lpszAutoConfigUrl);
        proxies.reset(config.lpszProxy);
        bypassList.reset(config.lpszProxyBypass);
        return ERROR_SUCCESS;
    }

    bool detect = false;
    UniqueGlobalText script;
    UniqueGlobalText proxies;
    UniqueGlobalText bypassList;
};

UserSettings settingsOfInteractiveUser() {
    UserSettings settings;
    // First as ourselves: nothing is left to be loaded as the user, for whom a drive's letter may mean any folder.
    settings.read();
    DWORD error = ERROR_SUCCESS;
    {
        const win32::ConsoleUserImpersonation user;
        error = settings.read();
    }
    if (error != ERROR_SUCCESS) win32::throwWin32("WinHttpGetIEProxyConfigForCurrentUser", error);
    return settings;
}

std::optional<std::wstring> autoProxy(const std::wstring& server, const wchar_t* scriptAddress) {
    const UniqueInternet session(
        WinHttpOpen(nullptr, WINHTTP_ACCESS_TYPE_NO_PROXY, WINHTTP_NO_PROXY_NAME, WINHTTP_NO_PROXY_BYPASS, 0));
    win32::check(static_cast<bool>(session), "WinHttpOpen");
    WINHTTP_AUTOPROXY_OPTIONS options{};
    // The script may be the choice of an unprivileged user, or of whoever answers first in the network: it runs in the
    // system's service for that, never in this process.
    options.dwFlags = WINHTTP_AUTOPROXY_RUN_OUTPROCESS_ONLY;
    options.dwFlags |= scriptAddress ? WINHTTP_AUTOPROXY_CONFIG_URL : WINHTTP_AUTOPROXY_AUTO_DETECT;
    options.dwAutoDetectFlags = scriptAddress ? 0 : WINHTTP_AUTO_DETECT_TYPE_DHCP | WINHTTP_AUTO_DETECT_TYPE_DNS_A;
    options.lpszAutoConfigUrl = scriptAddress;
    options.fAutoLogonIfChallenged = FALSE; // whoever serves a script gets no credentials of SYSTEM
    WINHTTP_PROXY_INFO info{};
    win32::check(WinHttpGetProxyForUrl(session.get(), server.c_str(), &options, &info), "WinHttpGetProxyForUrl");
    return takeProxy(info, server);
}

} // namespace

std::optional<std::wstring> proxyOfMachine(const std::wstring& server) {
    WINHTTP_PROXY_INFO info{};
    win32::check(WinHttpGetDefaultProxyConfiguration(&info), "WinHttpGetDefaultProxyConfiguration");
    return takeProxy(info, server);
}

std::optional<std::wstring> proxyFromScript(const std::wstring& server, const std::wstring& scriptAddress) {
    return autoProxy(server, scriptAddress.c_str());
}

std::optional<std::wstring> proxyOfNetwork(const std::wstring& server) { return autoProxy(server, nullptr); }

std::optional<std::wstring> proxyOfInteractiveUser(const std::wstring& server) {
    const UserSettings settings = settingsOfInteractiveUser();
    if (settings.detect) {
        try {
            return proxyOfNetwork(server);
        } catch (const win32::Win32Error&) {
            // Most networks announce no script, and the setting is on by default: the next one counts.
        }
    }
    if (settings.script) return autoProxy(server, settings.script.get());
    return proxyUnlessBypassed(settings.proxies, settings.bypassList, server);
}

} // namespace kelvane::ProxyUtilities
