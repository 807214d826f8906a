#pragma once

#include <algorithm>
#include <array>
#include <string_view>

// The keys of the telemetry record, in the order in which the management server lists them.
namespace kelvane::bst::TelemetryKey {

inline constexpr std::wstring_view agentVersion = L"agentVersion";
inline constexpr std::wstring_view installerType = L"installerType";
inline constexpr std::wstring_view installationInitiator = L"installationInitiator";
inline constexpr std::wstring_view installerResult = L"installerResult";
inline constexpr std::wstring_view installerActionType = L"installerActionType";
inline constexpr std::wstring_view previousInstallerVersion = L"previousInstallerVersion";
inline constexpr std::wstring_view errorString = L"errorString";
inline constexpr std::wstring_view siteToken = L"siteToken";
inline constexpr std::wstring_view agentUid = L"agentUid";
inline constexpr std::wstring_view machineUid = L"machineUid";
inline constexpr std::wstring_view uwfModeEnabled = L"uwfModeEnabled";
inline constexpr std::wstring_view osName = L"osName";
inline constexpr std::wstring_view osBuild = L"osBuild";
inline constexpr std::wstring_view osBitness = L"osBitness";
inline constexpr std::wstring_view fixDriversResult = L"fixDriversResult";
inline constexpr std::wstring_view installationStep = L"InstallationStep";
inline constexpr std::wstring_view diagnosticID = L"diagnosticID";
inline constexpr std::wstring_view deviceType = L"deviceType";
inline constexpr std::wstring_view usedArgs = L"usedArgs";
inline constexpr std::wstring_view statelessReason = L"statelessReason";
inline constexpr std::wstring_view installationPhase = L"installationPhase";
inline constexpr std::wstring_view installerReturnCode = L"installerReturnCode";
inline constexpr std::wstring_view installationId = L"installationId";
inline constexpr std::wstring_view upgradeId = L"upgradeId";
inline constexpr std::wstring_view reinstallationId = L"reinstallationId";
inline constexpr std::wstring_view installationResult = L"installationResult";
inline constexpr std::wstring_view upgradeResult = L"upgradeResult";
inline constexpr std::wstring_view reinstallationResult = L"reinstallationResult";
inline constexpr std::wstring_view cleaningResult = L"cleaningResult";
inline constexpr std::wstring_view rebootWasRequired = L"rebootWasRequired";
inline constexpr std::wstring_view msiExitCode = L"msiExitCode";
inline constexpr std::wstring_view freeDiskSpace = L"freeDiskSpace";
inline constexpr std::wstring_view appContainerFailure = L"appContainerFailure";

inline constexpr std::array all{agentVersion,
                                installerType,
                                installationInitiator,
                                installerResult,
                                installerActionType,
                                previousInstallerVersion,
                                errorString,
                                siteToken,
                                agentUid,
                                machineUid,
                                uwfModeEnabled,
                                osName,
                                osBuild,
                                osBitness,
                                fixDriversResult,
                                installationStep,
                                diagnosticID,
                                deviceType,
                                usedArgs,
                                statelessReason,
                                installationPhase,
                                installerReturnCode,
                                installationId,
                                upgradeId,
                                reinstallationId,
                                installationResult,
                                upgradeResult,
                                reinstallationResult,
                                cleaningResult,
                                rebootWasRequired,
                                msiExitCode,
                                freeDiskSpace,
                                appContainerFailure};

inline bool isKnown(std::wstring_view key) { return std::ranges::find(all, key) != all.end(); }

} // namespace kelvane::bst::TelemetryKey
