#include "OstravelInstaller/reporting/ManagementClient.h"

#include "OstravelInstaller/reporting/AnswerText.h"
#include "ProductLib/InstallerEvents.h"
#include "libwin32/DelayLoad.h"
#include "libwin32/Win32Error.h"
#include "libwin32/Win32Event.h"

#include <windows.h>

#include <winhttp.h>

#include <atomic>
#include <exception>
#include <memory>
#include <optional>

namespace kelvane::bst {
namespace {

using web::http::http_exception;

constexpr DWORD tls12 = 0x0800;
constexpr DWORD tls13 = 0x2000;
constexpr DWORD ignoreUnreachableRevocation = 155; // WINHTTP_OPTION_IGNORE_CERT_REVOCATION_OFFLINE
// Each chunk of a body costs several changes of thread: with the library's 64 KiB they take most of an upload's time.
constexpr std::size_t bodyChunk = 1 << 20;
constexpr DWORD ignoredCertificateFaults = SECURITY_FLAG_IGNORE_UNKNOWN_CA | SECURITY_FLAG_IGNORE_CERT_DATE_INVALID |
                                           SECURITY_FLAG_IGNORE_CERT_CN_INVALID | SECURITY_FLAG_IGNORE_CERT_WRONG_USAGE;

bool setOption(HINTERNET handle, DWORD option, DWORD value) {
    return WinHttpSetOption(handle, option, &value, sizeof value) != FALSE;
}

// Older systems do not know TLS 1.3 and refuse the pair.
void useModernTls(HINTERNET session) {
    if (setOption(session, WINHTTP_OPTION_SECURE_PROTOCOLS, tls12 | tls13)) return;
    win32::check(setOption(session, WINHTTP_OPTION_SECURE_PROTOCOLS, tls12), "WinHttpSetOption");
}

// The library's own switch has two ends: ignore every fault of a certificate, or refuse one whose revocation cannot be
// looked up, as where the management server is all that an endpoint may reach. So the library is told to ignore, and
// here every check is put back; a revoked certificate is refused where the system can tell it from one not looked up.
void checkCertificates(HINTERNET request) {
    win32::check(setOption(request, WINHTTP_OPTION_SECURITY_FLAGS, 0), "WinHttpSetOption");
    DWORD faults = ignoredCertificateFaults;
    DWORD size = sizeof faults;
    win32::check(WinHttpQueryOption(request, WINHTTP_OPTION_SECURITY_FLAGS, &faults, &size), "WinHttpQueryOption");
    if (faults & ignoredCertificateFaults) throw http_exception("Certificates would not be checked");
    if (!setOption(request, ignoreUnreachableRevocation, TRUE)) return;
    win32::check(setOption(request, WINHTTP_OPTION_ENABLE_FEATURE, WINHTTP_ENABLE_SSL_REVOCATION), "WinHttpSetOption");
}

// Nobody's credentials but those of the proxy setting are for the server or a proxy that asks, and nothing is kept
// between requests.
void keepToOurselves(HINTERNET request) {
    win32::check(setOption(request, WINHTTP_OPTION_AUTOLOGON_POLICY, WINHTTP_AUTOLOGON_SECURITY_LEVEL_HIGH),
                 "WinHttpSetOption");
    win32::check(setOption(request, WINHTTP_OPTION_DISABLE_FEATURE, WINHTTP_DISABLE_COOKIES), "WinHttpSetOption");
}

void prepare(HINTERNET request) {
    checkCertificates(request);
    keepToOurselves(request);
}

web::http::client::http_client_config complete(web::http::client::http_client_config config,
                                               std::chrono::milliseconds limit) {
    // The library's threads must not be where a function turns out to be missing.
    win32::lookUpHttpFunctions();
    config.set_timeout(limit);
    config.set_max_redirects(0);
    config.set_chunksize(bodyChunk);
    config.set_nativesessionhandle_options(&useModernTls);
    config.set_validate_certificates(false);
    config.set_nativehandle_options(&prepare);
    return config;
}

// What came of an exchange. Shared with the library's threads: one that is given up on ends at some later time.
struct Exchange {
    win32::Win32Event ended;
    std::atomic<std::uint32_t> status{0}; // 0: no answer yet
    std::shared_ptr<AnswerText> text = std::make_shared<AnswerText>();
    std::exception_ptr error; // once it has ended
};

// Every outcome is taken up: the task library ends a process that leaves a task's exception unobserved.
void observe(Exchange& exchange, const pplx::task<web::http::http_response>& task) noexcept {
    try {
        task.get();
    } catch (...) {
        exchange.error = std::current_exception();
    }
    SetEvent(exchange.ended.handle());
}

} // namespace

ManagementClient::ManagementClient(const std::wstring& server, web::http::client::http_client_config config,
                                   std::chrono::milliseconds limit)
    : limit_(limit), client_(server, complete(std::move(config), limit)) {}

ServerAnswer ManagementClient::await(web::http::http_request request) {
    const auto exchange = std::make_shared<Exchange>();
    request.set_response_stream(AnswerText::stream(exchange->text));
    pplx::cancellation_token_source cancellation;
    client_.request(request, cancellation.get_token())
        .then([exchange](const web::http::http_response& response) {
            exchange->status = response.status_code();
            return response.content_ready();
        })
        .then([exchange](const pplx::task<web::http::http_response>& task) { observe(*exchange, task); });
    // The library's own time-outs are per step; a server that sends a byte now and then would outlast them all.
    const DWORD waited = WaitForSingleObject(exchange->ended.handle(), static_cast<DWORD>(limit_.count()));
    if (waited != WAIT_OBJECT_0) cancellation.cancel();
    // The status is the answer; a text that is too long, breaks off or does not end counts as far as it came.
    if (const std::uint32_t status = exchange->status) return {status, exchange->text->taken()};
    if (waited != WAIT_OBJECT_0) throw http_exception(ERROR_WINHTTP_TIMEOUT, "The server did not answer in time");
    std::rethrow_exception(exchange->error);
}

ServerAnswer ManagementClient::send(web::http::http_request request, const std::wstring& path,
                                    std::wstring_view loggedBody) {
    logEvent(LogLevel::Verbose, "SendHttpRequest",
             {{"BaseUrl", client_.base_uri().to_string()}, {"ReqUrl", path}, {"Body", loggedBody}});
    request.set_request_uri(path);
    try {
        auto answer = await(request);
        logEvent(LogLevel::Verbose, "SendHttpRequestResponse",
                 {{"StatusCode", answer.status}, {"RetryNum", std::uint32_t{0}}});
        return answer;
    } catch (const http_exception& error) {
        logEvent(LogLevel::Error, "HttpRequestException",
                 {{"ErrorCode", error.error_code().value()}, {"Message", error.what()}});
        throw;
    }
}

} // namespace kelvane::bst
