#pragma once

#include "OstravelInstaller/context/BaseFolder.h"
#include "OstravelInstaller/context/InstallerResult.h"
#include "OstravelInstaller/context/PayloadPackage.h"
#include "OstravelInstaller/context/ReinstallReason.h"
#include "OstravelInstaller/context/TelemetryMetaData.h"
#include "OstravelInstallerLib/CommandLineUtils.h"
#include "SharedLib/AgentConfigUtils.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>

namespace kelvane::bst {

// What came of a run of the agent's installer.
struct PackageRun {
    InstallerResult result;
    std::uint32_t exitCode; // as the installer gave it
    // What the package recorded of it: why it failed, and that it had begun to remove the old product.
    std::optional<std::uint32_t> failureReason{};
    bool removedExistingProducts = false;
};

// What is to run at the next boot, as far as it concerns this run.
struct Continuation {
    bool nothingFound = false;    // the task service has said that nothing was scheduled when the run began
    std::filesystem::path found;  // the folder of what was
    bool foundGuard = false;      // and that a run had left it which was cut off
    std::filesystem::path folder; // of what this run has scheduled, or was started from
    std::wstring arguments;       // its task's
    bool own = false;             // this run was started from it
    std::uint32_t boots = 0;      // runs begun from it
    bool packageStarted = false;  // one of them may have begun to install
    bool scheduled = false;       // it waits for the reboot
};

// All that one run knows; owned by the run driver, handed by reference to every flow.
struct RunContext {
    RunContext(const OstravelInstallerCmdLine& commandLine, const BaseFolder& base)
        : cmdLine(commandLine), baseFolder(base) {}

    const OstravelInstallerCmdLine& cmdLine;
    const BaseFolder& baseFolder;
    TelemetryMetaData telemetry;
    std::filesystem::path logFile;
    std::function<bool()> flushLog; // what the log holds so far is in the file when it returns true

    std::wstring tempDir; // the working directory; empty once it is removed
    bool tempDirCreated = false;
    bool tempDirIsFallback = false;
    PayloadPackage payload;

    InstalledAgentInfo installedAgent;
    std::optional<std::string> installedSiteToken;        // the enrolment token of the installed agent, opaque
    std::optional<std::string> agentUid;                  // the installed agent's identifier
    std::optional<ManagementSettings> managementSettings; // the installed agent's, as last read
    std::optional<std::string> agentProxy;                // the installed agent's, as last read
    bool isVdi = false;
    bool uwfMode = false;                    // preserved: the agent runs under the Unified Write Filter
    std::optional<std::wstring> serverProxy; // preserved, or "none"; what the caller's own arguments say is not here
    win32::UniqueHandle configBackup;        // the configuration backup that this run or the one before it made, held
    std::wstring initiator;
    std::optional<std::filesystem::path> alternativeInstaller;
    std::wstring installationId;
    std::wstring diagUid;
    std::wstring msiArguments;               // what the package is given; every property added has a leading blank
    std::optional<std::string> extraMsiText; // further properties for the package, passed on as they stand

    std::optional<ReinstallReason> reinstallReason;
    bool downgradeDetected = false;
    bool installationDone = false;
    std::optional<PackageRun> lastPackage; // none before it has ended

    Continuation continuation;
    bool brokenOff = false; // by an exception: what the run, or its cleaning, came to is not known

    bool dynamicMonitoringRebootAdvised = false;
    bool forceLogUpload = false;
    InstallerResult result = InstallerResult::UnexpectedError;

    // The token that the package and the continuation are given: the installed agent's, else --fallback_site_token.
    std::optional<std::string> siteToken() const;
};

} // namespace kelvane::bst
