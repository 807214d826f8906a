#include "OstravelInstaller/reporting/LogFiles.h"

#include "OstravelInstaller/reporting/Logman.h"
#include "OstravelInstaller/reporting/TraceSession.h"
#include "libkelvane/FileStream.h"
#include "libkelvane/FileUtilities.h"
#include "libkelvane/PathUtils.h"
#include "libkelvane/UserLog.h"
#include "libwin32/AdministratorsOnly.h"
#include "libwin32/TraceSessions.h"
#include "libwin32/Win32Error.h"

#include <windows.h>

#include <algorithm>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace kelvane::bst {
namespace {

constexpr std::wstring_view nameStart = L"OstravelInstallerLog_";
constexpr std::wstring_view nameEnd = L".etl";
constexpr std::size_t newestKept = 10;
constexpr std::uint64_t ticksPerSecond = 10'000'000;
constexpr std::uint64_t ticksPerDay = ticksPerSecond * 24 * 3600;

std::uint64_t ticksOf(const FILETIME& time) {
    return (static_cast<std::uint64_t>(time.dwHighDateTime) << 32) | time.dwLowDateTime;
}

std::uint64_t localTicks() {
    SYSTEMTIME now{};
    GetLocalTime(&now);
    FILETIME time{};
    win32::check(SystemTimeToFileTime(&now, &time), "createLogFile");
    return ticksOf(time);
}

// In the calendar and digits that do not depend on the user's settings.
std::wstring fileName(std::uint64_t ticks) {
    const FILETIME whole{static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
    SYSTEMTIME parts{};
    win32::check(FileTimeToSystemTime(&whole, &parts), "createLogFile");
    wchar_t date[16]{};
    wchar_t time[16]{};
    GetDateFormatW(LOCALE_INVARIANT, 0, &parts, L"yyyy_MM_dd", date, 16);
    GetTimeFormatW(LOCALE_INVARIANT, 0, &parts, L"HH_mm_ss", time, 16);
    return std::wstring(nameStart).append(date).append(L"_").append(time).append(nameEnd);
}

bool isLogName(std::wstring_view name) { return name.starts_with(nameStart) && name.ends_with(nameEnd); }

// Nothing when there is no such file.
std::optional<std::uint64_t> creationOf(const std::filesystem::path& file) {
    WIN32_FILE_ATTRIBUTE_DATA data{};
    if (!GetFileAttributesExW(PathUtils::longPath(file).c_str(), GetFileExInfoStandard, &data)) return std::nullopt;
    return ticksOf(data.ftCreationTime);
}

// The session's own statement of its file is only taken for the file's name: nothing is looked for elsewhere.
bool isLeftover(const win32::RunningTrace& trace, const BaseFolder& baseFolder) {
    if (!isSessionName(trace.name)) return false;
    FILETIME now{};
    GetSystemTimeAsFileTime(&now);
    const auto name = std::filesystem::path(trace.logFile).filename();
    const auto young = [&](const std::filesystem::path& folder) {
        const auto created = creationOf(folder / name);
        return created && *created + ticksPerDay >= ticksOf(now);
    };
    return !young(baseFolder.path()) && !young(PathUtils::windowsTemp());
}

void stopDeadSessions(const BaseFolder& baseFolder) {
    for (const auto& trace : win32::runningTraces()) {
        if (isLeftover(trace, baseFolder)) stopSession(trace.name);
    }
}

// The names hold the time, so their order is that of the runs.
void removeOldLogs(const std::filesystem::path& folder) {
    std::vector<std::filesystem::path> logs;
    FileUtilities::scanDirectory(folder, [&](const FileUtilities::DirectoryEntry& entry) {
        if (!entry.isDirectory() && isLogName(entry.path.filename().native())) logs.push_back(entry.path);
    });
    std::ranges::sort(logs, std::greater());
    for (std::size_t i = newestKept; i < logs.size(); ++i)
        FileUtilities::deleteDirectoryNoThrow(logs[i]);
}

} // namespace

std::filesystem::path createLogFile(const std::filesystem::path& directory) {
    constexpr int mostNames = 100;
    auto ticks = localTicks();
    for (int attempt = 1;; ++attempt, ticks += ticksPerSecond) {
        auto file = directory / fileName(ticks);
        if (win32::createFileForAdministrators(PathUtils::longPath(file).c_str())) return file;
        win32::check(GetLastError() == ERROR_FILE_EXISTS && attempt < mostNames, "createLogFile");
    }
}

void removeEmptyLog(const std::filesystem::path& log) noexcept {
    try {
        if (FileUtilities::exists(log) && sizeOf(openForReading(log).get()) == 0) FileUtilities::deleteDirectory(log);
    } catch (const std::exception& error) {
        userLog(win32::TraceLevel::Error, error.what());
    }
}

void tidyLogs(const BaseFolder& baseFolder) noexcept {
    try {
        stopDeadSessions(baseFolder);
    } catch (const std::exception& error) {
        userLog(win32::TraceLevel::Error, error.what());
    }
    try {
        if (baseFolder.usable()) removeOldLogs(baseFolder.path());
    } catch (const std::exception& error) {
        userLog(win32::TraceLevel::Error, error.what());
    }
}

} // namespace kelvane::bst
