#include "libwin32/CredentialStore.h"

#include "libwin32/Handles.h"
#include "libwin32/Win32Error.h"

#include <windows.h>

#include <wincred.h>

namespace win32 {
namespace {

struct CredentialTraits {
    using Type = PCREDENTIALW;
    static bool isValid(PCREDENTIALW credential) { return credential != nullptr; }
    static void close(PCREDENTIALW credential) { CredFree(credential); }
};

} // namespace

Credential readGenericCredential(const std::wstring& name) {
    UniqueResource<CredentialTraits> entry;
    check(CredReadW(name.c_str(), CRED_TYPE_GENERIC, 0, entry.put()), "Error reading credentials");
    const CREDENTIALW& found = *entry.get();
    const std::wstring userName = found.UserName ? found.UserName : L"";
    const auto length = found.CredentialBlobSize / sizeof(wchar_t);
    if (userName.empty() || length == 0) {
        throw std::runtime_error("Error reading credentials, UserName or CredentialBlob is empty");
    }
    return {userName, std::wstring(reinterpret_cast<const wchar_t*>(found.CredentialBlob), length)};
}

} // namespace win32
