#include "OstravelInstaller/reporting/Enrolment.h"

#include "OstravelInstaller/context/RunContext.h"
#include "libkelvane/JsonLibrary.h"
#include "libwin32/Text.h"

namespace kelvane::bst {
namespace {

constexpr std::size_t longestToken = 16384;

std::optional<std::wstring> stringMember(const web::json::value& object, const wchar_t* name) {
    if (!object.has_string_field(name)) return std::nullopt;
    return object.at(name).as_string();
}

} // namespace

std::optional<ManagementSite> siteFromToken(std::string_view token) {
    if (token.size() > longestToken) return std::nullopt;
    try {
        const auto bytes = utility::conversions::from_base64(win32::toWide(token));
        const auto object =
            web::json::value::parse(win32::toWide({reinterpret_cast<const char*>(bytes.data()), bytes.size()}));
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

ManagementSite findManagementSite(const RunContext& context) {
    if (const auto token = context.siteToken()) {
        if (const auto site = siteFromToken(*token)) return *site;
    }
    if (!context.managementSettings) return {};
    return {win32::toWide(context.managementSettings->mgmtServer), win32::toWide(context.managementSettings->site)};
}

} // namespace kelvane::bst
