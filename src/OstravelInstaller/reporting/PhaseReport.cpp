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
    explicit RecordFolder(const Carried& carried)
        : own_(carried.tempDir.empty()),
          path_(own_ ? carried.baseFolder.makeFolder(runFolderPrefix) : std::filesystem::path(carried.tempDir)) {}
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
    RecordFile(const TelemetryMetaData& record, const Carried& carried)
        : folder_(carried), name_(L"OstravelInstallerMetadata_" + newGuid() + L".txt"), file_(folder_.path() / name_) {
        file_.write(win32::toUtf8(record.ToLogText()));
    }
    void addTo(MultiPartRequest& body) const { body.AddFilePart(L"file", streamOf(duplicate(file_.handle())), name_); }

private:
    RecordFolder folder_;
    std::wstring name_;
    ProtectedFile file_;
};

// What is sent, and which way.
struct Upload {
    const TelemetryMetaData& record;
    const Carried& carried;
    const ManagementSite& site;
    const HttpConfig& config;
};

void addLog(MultiPartRequest& body, const std::filesystem::path& logFile) {
    auto log = openForReading(logFile);
    if (const auto size = sizeOf(log.get()); size >= logTooBig) {
        body.AddTextPart(L"LogSizeTooBig", std::to_wstring(size));
    } else {
        body.AddFilePart(L"file", streamOf(std::move(log)), logFile.filename().native());
    }
}

web::http::http_request uploadRequest(const Upload& upload) {
    web::http::http_request request(web::http::methods::POST);
    request.headers().add(L"x-site", upload.site.siteKey);
    request.headers().add(L"x-uuid", valueOrEmpty(upload.record, TelemetryKey::agentUid));
    request.headers().add(L"User-Agent", userAgent);
    return request;
}

std::string send(const Upload& upload, bool withLog) {
    if (upload.site.siteKey.empty()) throw std::runtime_error("Missing siteKey, aborting.");
    const auto request = uploadRequest(upload);
    std::optional<RecordFile> recordFile; // outlives the body, which has it open
    MultiPartRequest body(request);
    for (const auto& [key, value] : upload.record.entries())
        body.AddTextPart(key, value);
    if (withLog) {
        addLog(body, upload.carried.logFile);
    } else {
        recordFile.emplace(upload.record, upload.carried);
        recordFile->addTo(body);
    }
    body.Finish();
    ManagementClient client(upload.site.server, upload.config, uploadLimit);
    auto answer = client.send(request, std::wstring(uploadPath) + uploadKind, L"multipart/form-data");
    if (body.broken()) throw std::runtime_error("The file could not be read to its end");
    return std::move(answer.text);
}

std::string sendTelemetryWithLog(const Upload& upload) { return send(upload, true); }

std::string sendTelemetryMetadataOnly(const Upload& upload) { return send(upload, false); }

using Send = std::string (*)(const Upload&);

// At most three attempts. The pause follows the last one too: what is sent next finds the server rested.
bool sendWithRetries(const Upload& upload, InstallationPhaseType phase, Send send) {
    const auto phaseNumber = static_cast<std::int32_t>(phase);
    for (std::uint32_t attempt = 1; attempt <= mostAttempts; ++attempt) {
        try {
            const std::string response = send(upload);
            logEvent(LogLevel::Verbose, "SendTelemetryResponse", {{"Response", response}, {"Phase", phaseNumber}});
            return true;
        } catch (const std::exception& error) {
            logEvent(LogLevel::Error, "SendTelemetryFailed", {{"ErrorMsg", error.what()}, {"Phase", phaseNumber}});
        }
        waitAfterFailure();
    }
    return false;
}

void report(TelemetryMetaData& record, const ReportSource& source, InstallationPhaseType phase, bool metadataOnly) {
    const ManagementSite site = findManagementSite(source.found);
    if (site.server.empty()) {
        logEvent(LogLevel::Error, "SendTelemetryFailedNoMgmtUrl", {{"Phase", static_cast<std::int32_t>(phase)}});
        return;
    }
    record.SetInstallationPhase(phase);
    const auto config = reportingClientConfig(site.server, source.msiArguments, source.found);
    if (!config) return;
    const Upload upload{record, source.carried, site, *config};
    const ElapsedTime progress(messages::reporting);
    if (!metadataOnly) {
        source.carried.flushLog();
        if (sendWithRetries(upload, phase, &sendTelemetryWithLog)) return;
    }
    sendWithRetries(upload, phase, &sendTelemetryMetadataOnly);
}

web::json::value statusObject(const TelemetryMetaData& record, const ManagementSite& site) {
    auto status = web::json::value::object(true);
    status[L"agentUuid"] = web::json::value::string(valueOrEmpty(record, TelemetryKey::agentUid));
    status[L"machineUuid"] = web::json::value::string(valueOrEmpty(record, TelemetryKey::machineUid));
    status[L"statusCode"] = web::json::value::number(statusCode);
    status[L"site"] = web::json::value::string(site.siteKey);
    status[L"mgmtServer"] = web::json::value::string(site.server);
    return status;
}

void sendStatus(const TelemetryMetaData& record, const ReportSource& source) {
    const ManagementSite site = findManagementSite(source.found);
    if (site.server.empty()) {
        logEvent(LogLevel::Error, "SendStatusToMgmtFailedNoMgmtUrl");
        return;
    }
    const auto config = reportingClientConfig(site.server, source.msiArguments, source.found);
    if (!config) return;
    const ElapsedTime progress(messages::reporting);
    const auto status = statusObject(record, site);
    web::http::http_request request(web::http::methods::POST);
    request.set_body(status);
    const auto answer =
        ManagementClient(site.server, *config, statusLimit).send(request, statusPath, status.serialize());
    logEvent(LogLevel::Verbose, "SendStatusToMgmt", {{"StatusCode", answer.status}});
    logEvent(LogLevel::Verbose, "SendStatusToMgmtResponse", {{"Response", answer.text}});
}

} // namespace

void ReportPhase(TelemetryMetaData& record, const ReportSource& source, InstallationPhaseType phase,
                 bool metadataOnly) noexcept {
    try {
        report(record, source, phase, metadataOnly);
    } catch (const std::exception& error) {
        logEvent(LogLevel::Error, "SendTelemetryFailed",
                 {{"ErrorMsg", error.what()}, {"Phase", static_cast<std::int32_t>(phase)}});
    }
}

void SendStatusToMgmt(const TelemetryMetaData& record, const ReportSource& source) noexcept {
    try {
        sendStatus(record, source);
    } catch (const std::exception& error) {
        userLog(LogLevel::Error, error.what());
    }
}

} // namespace kelvane::bst
