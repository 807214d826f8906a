#pragma once

#include "OstravelInstaller/context/FindAgent.h"

#include <optional>
#include <string>
#include <string_view>

namespace kelvane::bst {

// Where the run reports to. Either text may be empty: not known.
struct ManagementSite {
    std::wstring server; // base URL
    std::wstring siteKey;
};

// A site token that is base64 of a JSON object with the string members "url" and "site_key", without control
// characters; nothing for any other token.
std::optional<ManagementSite> siteFromToken(std::string_view token);

// Whether reports may go to the address: https, or http on this machine itself (127.0.0.0/8, ::1, localhost), on a port
// that there can be.
bool mayReportTo(const std::wstring& server);

// Out of the site token, else out of the installed agent's configuration as it was last read. An address that reports
// may not go to is logged and counts as not known.
ManagementSite findManagementSite(const Found& found);

} // namespace kelvane::bst
