#include "libkelvane/ProxyLists.h"

#include "libkelvane/HttpLibrary.h"
#include "libwin32/Text.h"

#include <algorithm>
#include <vector>

namespace kelvane::ProxyUtilities {
namespace {

// What stands between the separators.
std::vector<std::wstring_view> entriesOf(std::wstring_view list) {
    constexpr std::wstring_view separators = L"; \t\r\n";
    std::vector<std::wstring_view> entries;
    for (auto start = list.find_first_not_of(separators); start != std::wstring_view::npos;
         start = list.find_first_not_of(separators)) {
        list.remove_prefix(start);
        const auto end = std::min(list.find_first_of(separators), list.size());
        entries.push_back(list.substr(0, end));
        list.remove_prefix(end);
    }
    return entries;
}

// "*" stands for any run of characters, also for none.
bool matchesPattern(std::wstring_view pattern, std::wstring_view text) {
    auto star = pattern.find(L'*');
    if (star == std::wstring_view::npos) return win32::equalsIgnoringAsciiCase(pattern, text);
    if (!win32::equalsIgnoringAsciiCase(pattern.substr(0, star), text.substr(0, star))) return false;
    text.remove_prefix(star);
    pattern.remove_prefix(star + 1);
    for (; (star = pattern.find(L'*')) != std::wstring_view::npos; pattern.remove_prefix(star + 1)) {
        const auto found = win32::findIgnoringAsciiCase(text, pattern.substr(0, star));
        if (found == std::wstring_view::npos) return false;
        text.remove_prefix(found + star);
    }
    return text.size() >= pattern.size() &&
           win32::equalsIgnoringAsciiCase(text.substr(text.size() - pattern.size()), pattern);
}

// A server as bypass lists know it.
struct Server {
    explicit Server(const web::uri& address)
        : scheme(address.scheme()), host(address.host()), port(std::to_wstring(address.port())) {
        if (address.is_port_default()) port = scheme == L"https" ? L"443" : L"80";
    }

    std::wstring scheme;
    std::wstring host; // an IPv6 address in brackets
    std::wstring port;
};

bool matchesEntry(std::wstring_view entry, const Server& server) {
    if (win32::equalsIgnoringAsciiCase(entry, L"<local>"))
        return server.host.find_first_of(L".[") == std::wstring::npos;
    if (const auto end = entry.find(L"://"); end != std::wstring_view::npos) {
        if (!win32::equalsIgnoringAsciiCase(entry.substr(0, end), server.scheme)) return false;
        entry.remove_prefix(end + 3);
    }
    const auto colon = entry.rfind(L':');
    if (colon != std::wstring_view::npos && entry.find(L']', colon) == std::wstring_view::npos) {
        if (entry.substr(colon + 1) != server.port) return false;
        entry = entry.substr(0, colon);
    }
    return matchesPattern(entry, server.host);
}

} // namespace

bool isBypassed(std::wstring_view bypassList, const std::wstring& server) {
    const Server wanted{web::uri(server)};
    return std::ranges::any_of(entriesOf(bypassList), [&](auto entry) { return matchesEntry(entry, wanted); });
}

std::optional<std::wstring> proxyForScheme(std::wstring_view list, std::wstring_view server) {
    const auto scheme = server.substr(0, server.find(L':'));
    for (const auto entry : entriesOf(list)) {
        const auto equals = entry.find(L'=');
        if (equals == std::wstring_view::npos) return std::wstring(entry);
        if (win32::equalsIgnoringAsciiCase(entry.substr(0, equals), scheme))
            return std::wstring(entry.substr(equals + 1));
    }
    return std::nullopt;
}

} // namespace kelvane::ProxyUtilities
