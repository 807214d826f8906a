#include "libkelvane/hash/wincrypt.h"

#include "libwin32/Win32Error.h"

#include <array>
#include <span>

namespace kelvane::hash {

Hash::Hash(ALG_ID algorithm) {
    win32::check(CryptAcquireContextW(provider_.put(), nullptr, nullptr, PROV_RSA_AES, CRYPT_VERIFYCONTEXT),
                 "CryptAcquireContext");
    win32::check(CryptCreateHash(provider_.get(), algorithm, 0, 0, hash_.put()), "CryptCreateHash");
}

void Hash::add(const void* data, std::size_t size) {
    win32::check(CryptHashData(hash_.get(), static_cast<const BYTE*>(data), static_cast<DWORD>(size), 0),
                 "CryptHashData");
}

std::wstring Hash::text() const {
    std::array<BYTE, 32> digest{};
    DWORD size = static_cast<DWORD>(digest.size());
    win32::check(CryptGetHashParam(hash_.get(), HP_HASHVAL, digest.data(), &size, 0), "CryptGetHashParam");
    std::wstring text;
    for (const BYTE byte : std::span(digest).first(size)) {
        constexpr std::wstring_view digits = L"0123456789abcdef";
        text += digits[byte >> 4];
        text += digits[byte & 15];
    }
    return text;
}

std::wstring sha1OfTexts(const std::vector<std::wstring>& texts) {
    Hash hash(CALG_SHA1);
    for (const std::wstring& text : texts)
        hash.add(text.data(), text.size() * sizeof(wchar_t));
    return hash.text();
}

std::wstring sha256OfBytes(std::string_view bytes) {
    Hash hash(CALG_SHA_256);
    hash.add(bytes.data(), bytes.size());
    return hash.text();
}

} // namespace kelvane::hash
