#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace kelvane::hash {

// SHA-1 by the system's cryptographic provider over the UTF-16LE bytes of the texts, one after another without
// separator or terminator; 40 lower-case hexadecimal characters. An identifier, not a protection. Throws Win32Error.
std::wstring sha1OfTexts(const std::vector<std::wstring>& texts);

// SHA-256 of the bytes, 64 lower-case hexadecimal characters. Throws Win32Error.
std::wstring sha256OfBytes(std::string_view bytes);

} // namespace kelvane::hash
