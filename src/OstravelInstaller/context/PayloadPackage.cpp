#include "OstravelInstaller/context/PayloadPackage.h"

#include "ProductLib/InstallerEvents.h"
#include "libkelvane/FileUtilities.h"
#include "libkelvane/PathUtils.h"
#include "libkelvane/ZipFile.h"
#include "libwin32/PeUtils.h"
#include "libwin32/Text.h"
#include "libwin32/Win32Error.h"

#include <windows.h>

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

// While the handle is open nobody renames the directory away and puts another in its place, whoever owns its parent.
win32::UniqueHandle holdDirectory(const std::filesystem::path& directory) {
    win32::UniqueHandle handle(CreateFileW(PathUtils::longPath(directory).c_str(), FILE_LIST_DIRECTORY,
                                           FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                                           FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
    win32::check(static_cast<bool>(handle), "CreateFileW");
    return handle;
}

win32::UniqueHandle extractTo(const std::filesystem::path& zip, const std::filesystem::path& content) {
    logEvent(LogLevel::Verbose, "ExtractingResources", {{"ZipPath", zip.native()}, {"TargetDir", content.native()}});
    // The working directory may be one that others write to (the fallback is): neither the archive nor its content may
    // be anything that they made, or can change.
    FileUtilities::createProtectedFile(zip);
    win32::getResource(PathUtils::longPath(zip));
    logEvent(LogLevel::Verbose, "FinishedDroppingResourcesZip", {{"Path", zip.native()}});
    FileUtilities::createProtectedDirectory(content);
    auto held = holdDirectory(content);
    if (!UnzipFile(zip, content)) {
        logEvent(LogLevel::Error, "ResourceUnzipFailed", {{"Path", zip.native()}});
        throw std::runtime_error("Failed unzip the resource file");
    }
    return held;
}

} // namespace

void PayloadPackage::extract(const std::filesystem::path& workingDirectory) {
    archive_ = workingDirectory / L"temp.zip";
    content_ = workingDirectory / L"temp_content";
    try {
        heldContent_ = extractTo(archive_, content_);
    } catch (...) {
        logExtractFailure();
        throw;
    }
}

void PayloadPackage::clear() noexcept {
    heldContent_.reset();
    for (auto* path : {&archive_, &content_}) {
        if (!path->empty()) FileUtilities::deleteDirectoryNoThrow(*path);
        path->clear();
    }
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
