// credential.exe NAME USER SECRET: puts a generic entry into the credential store of the user.
#include <windows.h>

#include <wincred.h>

#include <cwchar>

int wmain(int count, wchar_t** arguments) {
    if (count != 4) return 2;
    CREDENTIALW entry{};
    entry.Type = CRED_TYPE_GENERIC;
    entry.TargetName = arguments[1];
    entry.UserName = arguments[2];
    entry.CredentialBlob = reinterpret_cast<BYTE*>(arguments[3]);
    entry.CredentialBlobSize = static_cast<DWORD>(std::wcslen(arguments[3]) * sizeof(wchar_t));
    entry.Persist = CRED_PERSIST_LOCAL_MACHINE;
    return CredWriteW(&entry, 0) ? 0 : 1;
}
