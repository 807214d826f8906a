#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

namespace kelvane::authenticode {

// Whether the file carries a valid Authenticode signature whose signer this machine trusts (WinVerifyTrust). Shows
// nothing and asks no network. A file that cannot be judged is not trusted, and the reason is logged.
bool isSignerTrusted(const std::filesystem::path& file);

// What WinVerifyTrust says of a file, in that way: 0, or the HRESULT that is its reason; and who signed it, empty where
// that is not known.
struct Signature {
    std::uint32_t verdict = 0;
    std::wstring signer;
};
Signature signatureOf(const std::filesystem::path& file);

} // namespace kelvane::authenticode
