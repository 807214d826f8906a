#include "OstravelInstaller/context/RunContext.h"

#include "libwin32/Text.h"

namespace kelvane::bst {

std::optional<std::string> RunContext::siteToken() const {
    if (installedSiteToken) return installedSiteToken;
    if (cmdLine->fallback_site_token.given) return win32::toUtf8(cmdLine->fallback_site_token.value);
    return std::nullopt;
}

} // namespace kelvane::bst
