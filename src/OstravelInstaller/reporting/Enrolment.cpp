#include "OstravelInstaller/reporting/Enrolment.h"

#include "ProductLib/InstallerEvents.h"
#include "libkelvane/HttpLibrary.h"
#include "libkelvane/JsonUtils.h"
#include "libkelvane/ProxyUtilities.h"
#include "libwin32/Text.h"

#include <algorithm>
#include <cwchar>

namespace kelvane::bst {
namespace {

constexpr std::size_t longestToken = 16384;

std::optional<std::wstring> stringMember(const web::json::value& object, const wchar_t* name) {
    if (!object.has_string_field(name)) return std::nullopt;
    const auto& text = object.at(name).as_string();
    return win32::hasControlCharacter(win32::toUtf8(text)) ? std::nullopt : std::optional(text);
}

ManagementSite knownSite(const Found& found) {
    if (found.siteToken) {
        if (const auto site = siteFromToken(*found.siteToken)) return *site;
    }
    if (!found.managementSettings) return {};
    return {win32::toWide(found.managementSettings->mgmtServer), win32::toWide(found.managementSettings->site)};
}

// 127.0.0.0/8 as four numbers: nothing that a name server would be asked for.
bool isLoopbackAddress(const std::wstring& host) {
    if (host.find_first_not_of(L"0123456789.") != std::wstring::npos) return false;
    unsigned int parts[4]{};
    int length = 0;
    return std::swscanf(host.c_str(), L"%3u.%3u.%3u.%3u%n", &parts[0], &parts[1], &parts[2], &parts[3], &length) == 4 &&
           host.size() == static_cast<std::size_t>(length) && parts[0] == 127 && std::ranges::max(parts) <= 255;
}

bool isLoopback(const std::wstring& host) {
    return host == L"localhost" || host == L"[::1]" || isLoopbackAddress(host);
}

// As it is written: the HTTP library takes a port of 0 or of none for one that was left out, and larger ones as they
// come.
bool isPortUsable(const std::wstring& server) {
    constexpr unsigned long mostPort = 65535;
    const auto start = server.find(L"://") + 3;
    auto place = std::wstring_view(server).substr(start, server.find_first_of(L"/?#", start) - start);
    place.remove_prefix(place.rfind(L'@') + 1);
    const auto colon = place.find_last_of(L":]");
    if (colon == std::wstring_view::npos || place[colon] == L']') return true;
    const std::wstring port(place.substr(colon + 1));
    if (port.empty() || port.find_first_not_of(L"0123456789") != std::wstring::npos) return false;
    const unsigned long number = std::wcstoul(port.c_str(), nullptr, 10);
    return number != 0 && number <= mostPort;
}

} // namespace

std::optional<ManagementSite> siteFromToken(std::string_view token) {
    if (token.size() > longestToken) return std::nullopt;
    try {
        const auto bytes = utility::conversions::from_base64(win32::toWide(token));
        const auto object = JsonUtils::parse({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
        if (!object.is_object()) return std::nullopt;
        const auto server = stringMember(object, L"url");
        const auto siteKey = stringMember(object, L"site_key");
        if (!server || !siteKey) return std::nullopt;
        return ManagementSite{*server, *siteKey};
    } catch (const std::exception&) {
        // Tokens are opaque: one of another form is no error.
        return std::nullopt;
    }
}

bool mayReportTo(const std::wstring& server) {
    try {
        const web::uri address(server);
        if (!isPortUsable(server)) return false;
        if (address.scheme() == L"https") return !address.host().empty();
        return address.scheme() == L"http" && isLoopback(address.host());
    } catch (const std::exception&) {
        return false; // no address at all
    }
}

ManagementSite findManagementSite(const Found& found) {
    ManagementSite site = knownSite(found);
    if (!site.server.empty() && !mayReportTo(site.server)) {
        logEvent(LogLevel::Error, "MgmtUrlRefused", {{"MgmtUrl", ProxyUtilities::withoutUserPart(site.server)}});
        site.server.clear();
    }
    return site;
}

} // namespace kelvane::bst
