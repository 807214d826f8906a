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

// All that one run knows; owned by the run driver, handed by reference to every flow.
struct RunContext {
    RunContext(const OstravelInstallerCmdLine& commandLine, const BaseFolder& base)
        : cmdLine(commandLine), baseFolder(base) {}

    const OstravelInstallerCmdLine& cmdLine;
    const BaseFolder& baseFolder;
    TelemetryMetaData telemetry;
    std::filesystem::path logFile;
    std::function<bool()> flushLog; // what the log holds so far is in the file when it returns true

    std::wstring tempDir; // the working directory
    bool tempDirCreated = false;
    bool tempDirIsFallback = false;
    PayloadPackage payload;

    InstalledAgentInfo installedAgent;
    std::optional<std::string> installedSiteToken;        // the enrolment token of the installed agent, opaque
    std::optional<std::string> agentUid;                  // the installed agent's identifier
    std::optional<ManagementSettings> managementSettings; // the installed agent's, as last read
    std::optional<std::string> agentProxy;                // the installed agent's, as last read
    bool isVdi = false;
    std::wstring installationId;
    std::wstring diagUid;
    std::wstring msiArguments;               // what the package is given; every property added has a leading blank
    std::optional<std::string> extraMsiText; // further properties for the package, passed on as they stand

    std::optional<ReinstallReason> reinstallReason;
    bool downgradeDetected = false;
    bool installationDone = false;
    std::optional<PackageRun> lastPackage; // none before it has ended

    bool dynamicMonitoringRebootAdvised = false;
    bool forceLogUpload = false;
    InstallerResult result = InstallerResult::UnexpectedError;

    // The token that the package and the continuation are given: the installed agent's, else --fallback_site_token.
    std::optional<std::string> siteToken() const;
};

} // namespace kelvane::bst
