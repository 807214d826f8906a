// What the program lets WinHTTP do, and what is loaded already when it takes on a user's identity.
#include "hooks/Hooks.h"

#include <winhttp.h>

namespace host {
namespace {

BOOL WINAPI setOption(HINTERNET handle, DWORD option, LPVOID value, DWORD size) {
    if (size == sizeof(DWORD)) {
        Record("internet_option").add("option", option).add("value", *static_cast<const DWORD*>(value));
    }
    return REAL(WinHttpSetOption)(handle, option, value, size);
}

BOOL WINAPI impersonate(HANDLE token) {
    Record("impersonation").add("winhttp_loaded", GetModuleHandleW(L"winhttp.dll") != nullptr);
    return ImpersonateLoggedOnUser(token);
}

// How a configuration script is fetched; there is none to be found.
BOOL WINAPI proxyForUrl(HINTERNET, LPCWSTR, WINHTTP_AUTOPROXY_OPTIONS* options, WINHTTP_PROXY_INFO*) {
    Record("autoproxy")
        .add("script", options->lpszAutoConfigUrl)
        .add("flags", options->dwFlags)
        .add("logs_on", options->fAutoLogonIfChallenged);
    SetLastError(ERROR_WINHTTP_UNABLE_TO_DOWNLOAD_SCRIPT);
    return FALSE;
}

// A read gives what has come, however much room there is: here a little at a time.
BOOL WINAPI readData(HINTERNET request, LPVOID buffer, DWORD size, LPDWORD read) {
    constexpr DWORD most = 1000;
    return REAL(WinHttpReadData)(request, buffer, std::min(size, most), read);
}

const Registration hooks{REPLACE(WinHttpSetOption, setOption), REPLACE(WinHttpReadData, readData),
                         REPLACE(ImpersonateLoggedOnUser, impersonate), REPLACE(WinHttpGetProxyForUrl, proxyForUrl)};

} // namespace

} // namespace host
