#include "OstravelInstaller/context/PayloadPackage.h"

#include "OstravelInstaller/context/Messages.h"
#include "OstravelInstallerLib/ProgressLine.h"
#include "ProductLib/InstallerEvents.h"
#include "libkelvane/FileUtilities.h"
#include "libkelvane/ProtectedDirectory.h"
#include "libkelvane/ZipFile.h"
#include "libwin32/PeUtils.h"
#include "libwin32/Text.h"
#include "libwin32/Win32Error.h"

#include <algorithm>
#include <stdexcept>
#include <system_error>

namespace kelvane::bst {
namespace {

constexpr std::uint64_t mostVersionBytes = 1024;

// The failures of Windows that have an event of their own.
struct SystemFailure {
    std::uint32_t code;
    const char* event;
};
constexpr SystemFailure systemFailures[] = {
    {ERROR_DISK_FULL, "ExtractResourcesDiskFullException"},
    {ERROR_HANDLE_DISK_FULL, "ExtractResourcesDiskFullException"},
    {ERROR_NO_SYSTEM_RESOURCES, "ExtractResourcesNoSystemResoucesException"},
};

void logSystemFailure(std::uint32_t code, const char* message) {
    const auto* row = std::ranges::find(systemFailures, code, &SystemFailure::code);
    const char* event = row != std::end(systemFailures) ? row->event : "ExtractResourcesFailedWithSystemError";
    logEvent(LogLevel::Error, event, {{"ErrorMsg", message}, {"ErrorCode", code}});
}

// Logs the exception being handled.
void logExtractFailure() {
    try {
        throw;
    } catch (const win32::Win32Error& error) {
        logSystemFailure(error.code(), error.what());
    } catch (const std::system_error& error) {
        logSystemFailure(static_cast<std::uint32_t>(error.code().value()), error.what());
    } catch (const std::exception& error) {
        logEvent(LogLevel::Error, "ExtractResourcesFailedWithException", {{"ErrorMsg", error.what()}});
    } catch (...) {
        logEvent(LogLevel::Error, "ExtractResourcesFailed");
    }
}

} // namespace

void PayloadPackage::unpack(const std::filesystem::path& zip, const std::filesystem::path& target) {
    logEvent(LogLevel::Verbose, "ExtractingResources", {{"ZipPath", zip.native()}, {"TargetDir", target.native()}});
    auto content = FileUtilities::createHeldDirectory(target);
    content_ = std::move(content.path);
    heldContent_ = std::move(content.handle);
    archive_.emplace(zip);
    win32::getResource(archive_->handle());
    logEvent(LogLevel::Verbose, "FinishedDroppingResourcesZip", {{"Path", zip.native()}});
    Percentage progress(messages::unpacking);
    if (!UnzipFile(archive_->handle(), content_, [&](unsigned percent) { progress.show(percent); })) {
        logEvent(LogLevel::Error, "ResourceUnzipFailed", {{"Path", zip.native()}});
        throw std::runtime_error("Failed unzip the resource file");
    }
}

void PayloadPackage::extract(const std::filesystem::path& workingDirectory) {
    clear();
    try {
        unpack(workingDirectory / L"temp.zip", workingDirectory / L"temp_content");
    } catch (...) {
        logExtractFailure();
        throw;
    }
}

void PayloadPackage::clear() noexcept {
    archive_.reset();
    heldContent_.reset();
    if (!content_.empty()) FileUtilities::deleteDirectoryNoThrow(content_);
    content_.clear();
}

std::filesystem::path PayloadPackage::installer() const {
    for (const auto* name : {L"KelvaneInstaller.msi", L"KelvaneInstaller.exe"}) {
        auto path = content_ / name;
        if (FileUtilities::exists(path)) return path;
    }
    throw std::runtime_error("There is no installer in the resources zip");
}

AgentVersion PayloadPackage::version() const {
    const auto text = FileUtilities::readFile(content_ / L"VERSION", mostVersionBytes);
    const auto version = parseAgentVersion(win32::toWide(text));
    if (!version) throw std::runtime_error("VERSION in the resources zip holds no version");
    return *version;
}

} // namespace kelvane::bst
