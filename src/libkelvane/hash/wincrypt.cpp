#include "libkelvane/hash/wincrypt.h"

#include "libwin32/Handles.h"
#include "libwin32/Win32Error.h"

#include <windows.h>

#include <wincrypt.h>

#include <array>

namespace kelvane::hash {
namespace {

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

} // namespace

std::wstring sha1OfTexts(const std::vector<std::wstring>& texts) {
    win32::UniqueResource<ProviderTraits> provider;
    win32::check(CryptAcquireContextW(provider.put(), nullptr, nullptr, PROV_RSA_AES, CRYPT_VERIFYCONTEXT),
                 "CryptAcquireContext");
    win32::UniqueResource<HashTraits> hash;
    win32::check(CryptCreateHash(provider.get(), CALG_SHA1, 0, 0, hash.put()), "CryptCreateHash");
    for (const std::wstring& text : texts) {
        win32::check(CryptHashData(hash.get(), reinterpret_cast<const BYTE*>(text.data()),
                                   static_cast<DWORD>(text.size() * sizeof(wchar_t)), 0),
                     "CryptHashData");
    }
    std::array<BYTE, 20> digest{};
    DWORD size = static_cast<DWORD>(digest.size());
    win32::check(CryptGetHashParam(hash.get(), HP_HASHVAL, digest.data(), &size, 0), "CryptGetHashParam");
    std::wstring text;
    for (const BYTE byte : digest) {
        constexpr std::wstring_view digits = L"0123456789abcdef";
        text += digits[byte >> 4];
        text += digits[byte & 15];
    }
    return text;
}

} // namespace kelvane::hash
