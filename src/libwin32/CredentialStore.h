#pragma once

#include <string>

namespace win32 {

struct Credential {
    std::wstring userName;
    std::wstring secret;
};

// A generic entry of the credential store. Throws Win32Error "Error reading credentials", and std::runtime_error
// "Error reading credentials, UserName or CredentialBlob is empty".
Credential readGenericCredential(const std::wstring& name);

} // namespace win32
