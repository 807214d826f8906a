#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace kelvane::bst {

struct RunContext;

// Where the run reports to. Either text may be empty: not known.
struct ManagementSite {
    std::wstring server; // base URL
    std::wstring siteKey;
};

// A site token that is base64 of a JSON object with the string members "url" and "site_key"; nothing for any other
// token.
std::optional<ManagementSite> siteFromToken(std::string_view token);

// Out of the run's token, else out of the installed agent's configuration as it was last read.
ManagementSite findManagementSite(const RunContext& context);

} // namespace kelvane::bst
