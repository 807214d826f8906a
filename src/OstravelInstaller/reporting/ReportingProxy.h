#pragma once

#include "OstravelInstaller/context/FindAgent.h"
#include "libkelvane/HttpLibrary.h"

#include <optional>
#include <string>
#include <string_view>

namespace kelvane::bst {

// The HTTP client's configuration for requests to the server: through the proxy that the package is given, else the
// installed agent's, else as the system has it. Nothing when the setting cannot be followed (logged).
std::optional<web::http::client::http_client_config>
reportingClientConfig(const std::wstring& server, std::wstring_view msiArguments, const Found& found) noexcept;

} // namespace kelvane::bst
