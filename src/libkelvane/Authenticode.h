#pragma once

#include <filesystem>

namespace kelvane::authenticode {

// Whether the file carries a valid Authenticode signature whose signer this machine trusts (WinVerifyTrust). Shows
// nothing and asks no network. A file that cannot be judged is not trusted, and the reason is logged.
bool isSignerTrusted(const std::filesystem::path& file);

} // namespace kelvane::authenticode
