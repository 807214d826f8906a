#include "libkelvane/Authenticode.h"

#include "libkelvane/UserLog.h"
#include "libwin32/DelayLoad.h"

// clang-format off
#include <windows.h>
#include <wintrust.h>
#include <softpub.h>
// clang-format on

#include <format>

namespace kelvane::authenticode {
namespace {

// One verification; its state is released with the object.
class TrustQuery {
public:
    explicit TrustQuery(const wchar_t* path) {
        file_.cbStruct = sizeof(file_);
        file_.pcwszFilePath = path;
        data_.cbStruct = sizeof(data_);
        data_.dwUIChoice = WTD_UI_NONE;
        data_.fdwRevocationChecks = WTD_REVOKE_NONE;
        data_.dwUnionChoice = WTD_CHOICE_FILE;
        data_.pFile = &file_;
        data_.dwStateAction = WTD_STATEACTION_VERIFY;
        data_.dwProvFlags = WTD_CACHE_ONLY_URL_RETRIEVAL;
    }
    TrustQuery(const TrustQuery&) = delete;
    TrustQuery& operator=(const TrustQuery&) = delete;
    ~TrustQuery() {
        if (!verified_) return;
        data_.dwStateAction = WTD_STATEACTION_CLOSE;
        call();
    }

    // 0 when the signer is trusted, else why not.
    LONG run() {
        const LONG verdict = call();
        verified_ = true;
        return verdict;
    }

    // The name in the certificate of the first signature.
    std::wstring signer() const {
        auto* provider = WTHelperProvDataFromStateData(data_.hWVTStateData);
        auto* chain = provider ? WTHelperGetProvSignerFromChain(provider, 0, FALSE, 0) : nullptr;
        const auto* certificate = chain ? WTHelperGetProvCertFromChain(chain, 0) : nullptr;
        if (!certificate) return {};
        wchar_t name[256];
        CertGetNameStringW(certificate->pCert, CERT_NAME_SIMPLE_DISPLAY_TYPE, 0, nullptr, name, 256);
        return name;
    }

private:
    LONG call() {
        GUID action = WINTRUST_ACTION_GENERIC_VERIFY_V2;
        return win32::statusOf(
            [&] { return WinVerifyTrust(static_cast<HWND>(INVALID_HANDLE_VALUE), &action, &data_); });
    }

    bool verified_ = false;
    WINTRUST_FILE_INFO file_{};
    WINTRUST_DATA data_{};
};

} // namespace

bool isSignerTrusted(const std::filesystem::path& file) {
    const LONG verdict = TrustQuery(file.c_str()).run();
    if (verdict == ERROR_SUCCESS) return true;
    userLog(win32::TraceLevel::Error, std::format("signer not trusted: {:#x}", static_cast<std::uint32_t>(verdict)));
    return false;
}

Signature signatureOf(const std::filesystem::path& file) {
    TrustQuery query(file.c_str());
    const auto verdict = static_cast<std::uint32_t>(query.run());
    return {verdict, query.signer()};
}

} // namespace kelvane::authenticode
