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

} // namespace kelvane::authenticode
