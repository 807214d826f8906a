#pragma once

#include "OstravelInstaller/context/RunContext.h"
#include "libkelvane/HttpLibrary.h"

#include <optional>
#include <string>

namespace kelvane::bst {

// The HTTP client's configuration for requests to the server: through the proxy that the package is given, else the
// installed agent's, else as the system has it. Nothing when the setting cannot be followed (logged).
std::optional<web::http::client::http_client_config> reportingClientConfig(const RunContext& context,
                                                                           const std::wstring& server) noexcept;

} // namespace kelvane::bst
