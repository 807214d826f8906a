#pragma once

#include "libwin32/Handles.h"

#include <windows.h>

#include <wincrypt.h>

#include <string>
#include <string_view>
#include <vector>

namespace kelvane::hash {

struct ProviderTraits {
    using Type = HCRYPTPROV;
    static bool isValid(HCRYPTPROV provider) { return provider != 0; }
    static void close(HCRYPTPROV provider) { CryptReleaseContext(provider, 0); }
};

struct HashTraits {
    using Type = HCRYPTHASH;
    static bool isValid(HCRYPTHASH hash) { return hash != 0; }
    static void close(HCRYPTHASH hash) { CryptDestroyHash(hash); }
};

// A hash of that kind in the making, by the system's cryptographic provider. Throws Win32Error.
class Hash {
public:
    explicit Hash(ALG_ID algorithm);

    void add(const void* data, std::size_t size);
    // The end of it, as lower-case hexadecimal characters.
    std::wstring text() const;

private:
    win32::UniqueResource<ProviderTraits> provider_;
    win32::UniqueResource<HashTraits> hash_;
};

// SHA-1 over the UTF-16LE bytes of the texts, one after another without separator or terminator; 40 characters. An
// identifier, not a protection. Throws Win32Error.
std::wstring sha1OfTexts(const std::vector<std::wstring>& texts);

// SHA-256 of the bytes, 64 characters. Throws Win32Error.
std::wstring sha256OfBytes(std::string_view bytes);

} // namespace kelvane::hash
