#include "SharedLib/TlsRequirements.h"

#include "SharedLib/CipherSuites.h"
#include "SharedLib/NotSupportedException.h"
#include "libwin32/Text.h"
#include "libwin32/Win32Error.h"

// clang-format off
#include <windows.h>
#include <schannel.h>
// clang-format on

#include <algorithm>
#include <span>

namespace kelvane::system_requirements {
namespace {

using Suites = std::vector<std::wstring>;

bool hasAnyOf(const Suites& available, std::span<const std::wstring_view> wanted) {
    return std::ranges::find_first_of(available, wanted) != available.end();
}

void checkCipherSuiteUpdates(const HostFacts& facts) {
    const auto version = facts.windowsVersion();
    if (version.major >= 10 || hasAnyOf(facts.cipherSuites(), platformUpdateSuites)) return;
    if (version.major == 6 && version.minor == 3) {
        throw NotSupportedExceptionForWixUi(29009, "Microsoft KB2919355 must be installed. Installation aborted.");
    }
    throw NotSupportedExceptionForWixUi(29010, "Microsoft KB3042058 must be installed. Installation aborted.");
}

[[noreturn]] void refuseWithoutTls12() {
    throw NotSupportedExceptionForWixUi(
        29011, "TLS version 1.2 must be supported and enabled on the platform. Installation aborted.");
}

void requireSuccess(long status, std::wstring_view message) {
    if (status < 0) win32::throwWin32(win32::toUtf8(message), static_cast<std::uint32_t>(status));
}

void checkTls12(const TlsClientCredentials& credentials) {
    if (credentials.acquired == SEC_E_ALGORITHM_MISMATCH || credentials.acquired == SEC_E_SECPKG_NOT_FOUND) {
        refuseWithoutTls12();
    }
    requireSuccess(credentials.acquired, L"Call to AcquireCredentialsHandle failed!");
    requireSuccess(credentials.queried, L"Call to QueryCredentialsAttributes failed!");
    if ((credentials.protocols & SP_PROT_TLS1_2_CLIENT) == 0) refuseWithoutTls12();
}

std::wstring joined(const Suites& suites) {
    std::wstring text;
    for (const auto& suite : suites) {
        if (!text.empty()) text += L", ";
        text += suite;
    }
    return text;
}

} // namespace

void checkTls(const HostFacts& facts, const std::function<void(const std::wstring&)>& onWarning) {
    checkCipherSuiteUpdates(facts);
    checkTls12(facts.tlsClientCredentials());
    const auto suites = facts.cipherSuites();
    if (onWarning && !hasAnyOf(suites, strongSuites)) {
        onWarning(L"Strong cipher suites are unavailable. Available suites: " + joined(suites));
    }
}

} // namespace kelvane::system_requirements
