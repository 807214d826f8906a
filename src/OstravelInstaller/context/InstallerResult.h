#pragma once

#include <cstdint>
#include <string_view>

namespace kelvane::bst {

// The outcome of a run: also the exit code of the process.
// Below 100 success; 100-199 success that needs a reboot; 200-299 endings that are no failure; 1000-1999 not done
// because of the state of the machine; 2000-2999 failure.
enum class InstallerResult : std::uint32_t {
    Success = 0,
    UpgradeCompleted = 12,
    RebootRequired = 103,
    AlreadyPendingReboot = 104,
    RemovalCompletesAfterReboot = 200,
    DiagnosticsFailed = 201,
    HealthyDirectoriesCleaned = 202,
    HealthyDirectoriesCleanedAfterReboot = 203,
    UserDeclined = 205,
    UsageShown = 206,
    FallBackToReinstall = 300, // internal, never an exit code
    SameOrNewerInstalled = 1000,
    UpgradeFailed = 1001,
    AnotherInstance = 1002,
    MsiInProgress = 1003,
    MsiCommandLineInvalid = 1004,
    UnexpectedError = 2000,
    UpgradeFailedForGood = 2001,
    InstallationFailed = 2002,
    RemovalFailed = 2003,
    SafeModeRequired = 2004,
    BackupFailed = 2006,
    MonitorStuck = 2007,
    SiteTokenMissing = 2008,
    AgentUidMissing = 2009,
    DesktopRequired = 2010,
    InstalledVersionUnknown = 2012,
    RequirementsNotMet = 2015,
    DllDirectoriesMissing = 2016,
    DllDirectoriesFailed = 2017,
    DowngradeFailed = 2018,
    RemovalFailedCleaner13 = 2021,
    PackageRefused = 2022, // the package recorded failure reason 4
    DiskSpaceForUpgrade = 2023,
    RemovalFailedCleaner14 = 2025,
};

constexpr std::uint32_t code(InstallerResult result) { return static_cast<std::uint32_t>(result); }
constexpr bool between(InstallerResult result, std::uint32_t low, std::uint32_t high) {
    return code(result) >= low && code(result) <= high;
}
constexpr bool isSuccess(InstallerResult result) { return code(result) < 100; }
constexpr bool requiresReboot(InstallerResult result) { return between(result, 100, 199); }

// The success flag of the telemetry record.
enum class SuccessFlag { Failure = 0, Success = 1 };
// "0" or "1". Throws std::invalid_argument "Unknown InstallerResult" for any other value.
std::wstring_view successFlagText(SuccessFlag flag);
// "0" for 2000 to 2999, else "1".
std::wstring_view toTelemetryResult(InstallerResult result);

} // namespace kelvane::bst
