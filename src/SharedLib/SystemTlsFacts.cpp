#include "SharedLib/HostFacts.h"

#include "libwin32/DelayLoad.h"
#include "libwin32/Handles.h"
#include "libwin32/Text.h"
#include "libwin32/Win32Error.h"

// clang-format off
#include <windows.h>
#define SECURITY_WIN32
#include <security.h>
#include <schannel.h>
// clang-format on

#include <bcrypt.h>

namespace kelvane::system_requirements {
namespace {

// Credentials, freed with the object when they were acquired.
class OutboundCredentials {
public:
    OutboundCredentials() {
        wchar_t package[] = L"Microsoft Unified Security Protocol Provider";
        SCHANNEL_CRED wanted{};
        wanted.dwVersion = SCHANNEL_CRED_VERSION;
        wanted.grbitEnabledProtocols =
            SP_PROT_TLS1_2_CLIENT | SP_PROT_TLS1_1_CLIENT | SP_PROT_TLS1_0_CLIENT | SP_PROT_SSL3_CLIENT;
        wanted.dwFlags = SCH_USE_STRONG_CRYPTO | SCH_CRED_NO_DEFAULT_CREDS;
        status_ = win32::statusOf([&] {
            return AcquireCredentialsHandleW(nullptr, package, SECPKG_CRED_OUTBOUND, nullptr, &wanted, nullptr, nullptr,
                                             &handle_, nullptr);
        });
    }
    OutboundCredentials(const OutboundCredentials&) = delete;
    OutboundCredentials& operator=(const OutboundCredentials&) = delete;
    ~OutboundCredentials() {
        if (status_ == SEC_E_OK) win32::statusOf([&] { return FreeCredentialsHandle(&handle_); });
    }

    TlsClientCredentials facts() {
        TlsClientCredentials facts{.acquired = status_};
        if (status_ != SEC_E_OK) return facts;
        SecPkgCred_SupportedProtocols protocols{};
        facts.queried = win32::statusOf(
            [&] { return QueryCredentialsAttributesW(&handle_, SECPKG_ATTR_SUPPORTED_PROTOCOLS, &protocols); });
        facts.protocols = protocols.grbitProtocol;
        return facts;
    }

private:
    CredHandle handle_{};
    SECURITY_STATUS status_ = SEC_E_OK;
};

struct ContextFunctionsTraits {
    using Type = CRYPT_CONTEXT_FUNCTIONS*;
    static bool isValid(Type functions) { return functions != nullptr; }
    static void close(Type functions) { BCryptFreeBuffer(functions); }
};

} // namespace

TlsClientCredentials SystemFacts::tlsClientCredentials() const { return OutboundCredentials().facts(); }

std::vector<std::wstring> SystemFacts::cipherSuites() const {
    win32::UniqueResource<ContextFunctionsTraits> functions;
    ULONG size = 0;
    const NTSTATUS status =
        BCryptEnumContextFunctions(CRYPT_LOCAL, L"SSL", NCRYPT_SCHANNEL_INTERFACE, &size, functions.put());
    if (status < 0) {
        win32::throwWin32(win32::toUtf8(L"Call to BCryptEnumContextFunctions failed!"),
                          static_cast<std::uint32_t>(status));
    }
    if (!functions) {
        win32::throwWin32(win32::toUtf8(L"Call to BCryptEnumContextFunctions returned null pBuffer!"),
                          static_cast<std::uint32_t>(status));
    }
    const auto* names = functions.get()->rgpszFunctions;
    return {names, names + functions.get()->cFunctions};
}

} // namespace kelvane::system_requirements
