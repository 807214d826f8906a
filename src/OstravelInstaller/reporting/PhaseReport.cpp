#include "OstravelInstaller/reporting/PhaseReport.h"

#include "OstravelInstaller/context/Messages.h"
#include "OstravelInstaller/reporting/Enrolment.h"
#include "OstravelInstaller/reporting/ManagementClient.h"
#include "OstravelInstaller/reporting/ReportingProxy.h"
#include "OstravelInstallerLib/ProgressLine.h"
#include "ProductLib/InstallerEvents.h"
#include "libkelvane/FileStream.h"
#include "libkelvane/FileUtilities.h"
#include "libkelvane/Guid.h"
#include "libkelvane/MultiPartRequest.h"
#include "libkelvane/ProtectedFile.h"
#include "libkelvane/UserLog.h"
#include "libwin32/Text.h"

#include <windows.h>

#include <chrono>
#include <optional>
#include <utility>

namespace kelvane::bst {
namespace {

using namespace std::chrono_literals;
using HttpConfig = web::http::client::http_client_config;

constexpr std::uint64_t logTooBig = 188743680; // 180 MiB; the server takes nothing longer
constexpr std::chrono::milliseconds uploadLimit = 600s;
constexpr std::chrono::milliseconds statusLimit = 60s;
constexpr std::chrono::nanoseconds pauseAfterFailure = 10s;
constexpr std::uint32_t mostAttempts = 3;
constexpr std::uint32_t statusCode = 100;
constexpr const wchar_t* uploadPath = L"api/v1.6/upload/";
constexpr const wchar_t* uploadKind = L"installer-log";
constexpr const wchar_t* statusPath = L"api/v1.6/installer-status";
constexpr const wchar_t* userAgent = L"QX-WIN/23.3.3.264";

void waitAfterFailure() {
    const auto deadline = std::chrono::steady_clock::now() + pauseAfterFailure;
    for (auto now = std::chrono::steady_clock::now(); now < deadline; now = std::chrono::steady_clock::now()) {
        Sleep(static_cast<DWORD>(std::chrono::ceil<std::chrono::milliseconds>(deadline - now).count()));
    }
}

std::wstring valueOrEmpty(const TelemetryMetaData& record, std::wstring_view key) {
    const auto found = record.entries().find(std::wstring(key));
    return found == record.entries().end() ? std::wstring() : found->second;
}

// Where the record file lies: the working directory or, for reports that come when that is gone, a new folder for as
// long as the upload takes.
class RecordFolder {
public:
    explicit RecordFolder(const RunContext& context)
        : own_(context.tempDir.empty()),
          path_(own_ ? context.baseFolder.makeFolder(runFolderPrefix) : std::filesystem::path(context.tempDir)) {}
    ~RecordFolder() {
        if (own_) FileUtilities::deleteDirectoryNoThrow(path_);
    }
    RecordFolder(const RecordFolder&) = delete;
    RecordFolder& operator=(const RecordFolder&) = delete;
    const std::filesystem::path& path() const { return path_; }

private:
    bool own_;
    std::filesystem::path path_;
};

// The file part of an upload without the log: the record as the log shows it.
class RecordFile {
public:
    explicit RecordFile(const RunContext& context)
        : folder_(context), name_(L"OstravelInstallerMetadata_" + newGuid() + L".txt"), file_(folder_.path() / name_) {
        file_.write(win32::toUtf8(context.telemetry.ToLogText()));
    }
    void addTo(MultiPartRequest& body) const { body.AddFilePart(L"file", streamOf(duplicate(file_.handle())), name_); }

private:
    RecordFolder folder_;
    std::wstring name_;
    ProtectedFile file_;
};

void addLog(MultiPartRequest& body, const RunContext& context) {
    auto log = openForReading(context.logFile);
    if (const auto size = sizeOf(log.get()); size >= logTooBig) {
        body.AddTextPart(L"LogSizeTooBig", std::to_wstring(size));
    } else {
        body.AddFilePart(L"file", streamOf(std::move(log)), context.logFile.filename().native());
    }
}

web::http::http_request uploadRequest(const RunContext& context, const std::wstring& siteKey) {
    web::http::http_request request(web::http::methods::POST);
    request.headers().add(L"x-site", siteKey);
    request.headers().add(L"x-uuid", valueOrEmpty(context.telemetry, TelemetryKey::agentUid));
    request.headers().add(L"User-Agent", userAgent);
    return request;
}

std::string upload(const RunContext& context, const HttpConfig& config, bool withLog) {
    const ManagementSite site = findManagementSite(context);
    if (site.siteKey.empty()) throw std::runtime_error("Missing siteKey, aborting.");
    const auto request = uploadRequest(context, site.siteKey);
    std::optional<RecordFile> recordFile; // outlives the body, which has it open
    MultiPartRequest body(request);
    for (const auto& [key, value] : context.telemetry.entries())
        body.AddTextPart(key, value);
    if (withLog) {
        addLog(body, context);
    } else {
        recordFile.emplace(context);
        recordFile->addTo(body);
    }
    body.Finish();
    ManagementClient client(site.server, config, uploadLimit);
    auto answer = client.send(request, std::wstring(uploadPath) + uploadKind, L"multipart/form-data");
    if (body.broken()) throw std::runtime_error("The file could not be read to its end");
    return std::move(answer.text);
}

std::string sendTelemetryWithLog(const RunContext& context, const HttpConfig& config) {
    return upload(context, config, true);
}

std::string sendTelemetryMetadataOnly(const RunContext& context, const HttpConfig& config) {
    return upload(context, config, false);
}

using Send = std::string (*)(const RunContext&, const HttpConfig&);

// At most three attempts. The pause follows the last one too: what is sent next finds the server rested.
bool sendWithRetries(const RunContext& context, const HttpConfig& config, InstallationPhaseType phase, Send send) {
    const auto phaseNumber = static_cast<std::int32_t>(phase);
    for (std::uint32_t attempt = 1; attempt <= mostAttempts; ++attempt) {
        try {
            const std::string response = send(context, config);
            logEvent(LogLevel::Verbose, "SendTelemetryResponse", {{"Response", response}, {"Phase", phaseNumber}});
            return true;
        } catch (const std::exception& error) {
            logEvent(LogLevel::Error, "SendTelemetryFailed", {{"ErrorMsg", error.what()}, {"Phase", phaseNumber}});
        }
        waitAfterFailure();
    }
    return false;
}

void report(RunContext& context, InstallationPhaseType phase, bool metadataOnly) {
    const std::wstring server = findManagementSite(context).server;
    if (server.empty()) {
        logEvent(LogLevel::Error, "SendTelemetryFailedNoMgmtUrl", {{"Phase", static_cast<std::int32_t>(phase)}});
        return;
    }
    context.telemetry.SetInstallationPhase(phase);
    const auto config = reportingClientConfig(context, server);
    if (!config) return;
    const ElapsedTime progress(messages::reporting);
    if (!metadataOnly) {
        context.flushLog();
        if (sendWithRetries(context, *config, phase, &sendTelemetryWithLog)) return;
    }
    sendWithRetries(context, *config, phase, &sendTelemetryMetadataOnly);
}

web::json::value statusObject(const RunContext& context, const ManagementSite& site) {
    auto status = web::json::value::object(true);
    status[L"agentUuid"] = web::json::value::string(valueOrEmpty(context.telemetry, TelemetryKey::agentUid));
    status[L"machineUuid"] = web::json::value::string(valueOrEmpty(context.telemetry, TelemetryKey::machineUid));
    status[L"statusCode"] = web::json::value::number(statusCode);
    status[L"site"] = web::json::value::string(site.siteKey);
    status[L"mgmtServer"] = web::json::value::string(site.server);
    return status;
}

void sendStatus(const RunContext& context) {
    const ManagementSite site = findManagementSite(context);
    if (site.server.empty()) {
        logEvent(LogLevel::Error, "SendStatusToMgmtFailedNoMgmtUrl");
        return;
    }
    const auto config = reportingClientConfig(context, site.server);
    if (!config) return;
    const ElapsedTime progress(messages::reporting);
    const auto status = statusObject(context, site);
    web::http::http_request request(web::http::methods::POST);
    request.set_body(status);
    const auto answer =
        ManagementClient(site.server, *config, statusLimit).send(request, statusPath, status.serialize());
    logEvent(LogLevel::Verbose, "SendStatusToMgmt", {{"StatusCode", answer.status}});
    logEvent(LogLevel::Verbose, "SendStatusToMgmtResponse", {{"Response", answer.text}});
}

} // namespace

void ReportPhase(RunContext& context, InstallationPhaseType phase, bool metadataOnly) noexcept {
    try {
        report(context, phase, metadataOnly);
    } catch (const std::exception& error) {
        logEvent(LogLevel::Error, "SendTelemetryFailed",
                 {{"ErrorMsg", error.what()}, {"Phase", static_cast<std::int32_t>(phase)}});
    }
}

void SendStatusToMgmt(const RunContext& context) noexcept {
    try {
        sendStatus(context);
    } catch (const std::exception& error) {
        userLog(LogLevel::Error, error.what());
    }
}

} // namespace kelvane::bst
