#pragma once

#include <filesystem>

namespace kelvane::pack {

// Checks a packed installer and prints what is in it. False when its signature is whole and this machine does not trust
// the signer. Throws Refusal for one that is not as it was packed, or signed.
bool verify(const std::filesystem::path& installer);

} // namespace kelvane::pack
