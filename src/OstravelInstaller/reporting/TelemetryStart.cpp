#include "OstravelInstaller/reporting/TelemetryStart.h"

#include "ComputerInformation/HardwareInfo.h"
#include "ComputerInformation/NetworkInfo.h"
#include "ComputerInformation/OsVersionInfo.h"
#include "OstravelInstaller/context/ProgramVersion.h"
#include "OstravelInstallerLib/InstallerProperty.h"
#include "ProductLib/InstallerEvents.h"
#include "libkelvane/AgentVersion.h"
#include "libkelvane/PathUtils.h"
#include "libkelvane/UserLog.h"

#include <windows.h>

#include <algorithm>
#include <array>
#include <format>
#include <map>

namespace kelvane::bst {
namespace {

constexpr std::wstring_view installerTypeOfThisProgram = L"OstravelInstaller";
constexpr std::array<std::wstring_view, 4> installerTypes{L"Other", L"Management", L"Cleaner",
                                                          installerTypeOfThisProgram};

void restore(TelemetryMetaData& record, const TelemetryMetaData::Entries& saved) {
    for (const auto& [key, value] : saved) {
        if (TelemetryKey::isKnown(key)) record.SetValue(key, value);
    }
}

void recordFreeDiskSpace(TelemetryMetaData& record) {
    ULARGE_INTEGER available{};
    if (GetDiskFreeSpaceExW(PathUtils::programFiles().root_path().c_str(), &available, nullptr, nullptr)) {
        record.SetValue(TelemetryKey::freeDiskSpace, std::to_wstring(available.QuadPart));
    }
}

void recordNewRun(TelemetryMetaData& record, const Asked& asked, const Found& found) {
    record.SetValue(TelemetryKey::installerType, installerTypeOfThisProgram);
    record.SetValue(TelemetryKey::diagnosticID, asked.diagUid);
    record.SetValueUtf8(TelemetryKey::agentUid, found.agentUid.value_or(""));
    record.SetValue(TelemetryKey::machineUid, GetMachineUid().value_or(L""));
    record.SetValue(TelemetryKey::installationInitiator, initiatorName(asked.cmdLine->INSTALLATION_INITIATOR.value));
    const wchar_t* commandLine = GetCommandLineW();
    record.SetValue(TelemetryKey::usedArgs, loggedCommandLine(commandLine ? commandLine : L""));
    record.SetInstallationPhase(InstallationPhaseType::Initial);
    recordFreeDiskSpace(record);
}

// For whoever reads the log; none of it is reported.
void logMachine() noexcept {
    userLog(LogLevel::Verbose, IsVirtualMachine() ? "Virtual machine" : "Physical machine");
    try {
        for (const auto& adapter : networkAdapters()) {
            userLog(LogLevel::Verbose, std::format("Network adapter: {} {}", adapter.type, adapter.macAddress));
        }
    } catch (const std::exception& error) {
        userLog(LogLevel::Error, error.what());
    }
}

// The record that a run left before a reboot names the version of the program that wrote it.
void recordPreviousVersion(TelemetryMetaData& record, const std::optional<TelemetryMetaData::Entries>& saved) {
    if (!saved) return;
    const auto found = saved->find(std::wstring(TelemetryKey::agentVersion));
    if (found == saved->end()) return;
    if (const auto version = parseAgentVersion(found->second)) {
        record.SetValue(TelemetryKey::previousInstallerVersion, version->str());
    }
}

} // namespace

std::wstring_view initiatorName(std::wstring_view initiator) {
    const auto found = std::ranges::find(installerTypes, initiator);
    return found == installerTypes.end() ? installerTypes.front() : *found;
}

void BuildBasicTelemetryMetadata(TelemetryMetaData& record) {
    static const std::map<DeviceType, std::wstring_view> deviceTypeNames{
        {DeviceType::Desktop, L"desktop"},
        {DeviceType::Laptop, L"laptop"},
        {DeviceType::Server, L"server"},
        {DeviceType::DomainController, L"domain controller"},
    };
    record.SetValue(TelemetryKey::agentVersion, programVersion);
    record.SetValue(TelemetryKey::osName, systemName());
    record.SetValue(TelemetryKey::osBitness, systemBitness());
    record.SetValue(TelemetryKey::osBuild, std::to_wstring(systemBuildNumber()));
    const auto name = deviceTypeNames.find(GetDeviceType());
    if (name == deviceTypeNames.end()) throw std::out_of_range("invalid map<K, T> key");
    record.SetValue(TelemetryKey::deviceType, name->second);
}

void startTelemetry(TelemetryMetaData& record, const Asked& asked, const Found& found,
                    const std::optional<TelemetryMetaData::Entries>& saved) {
    if (saved) {
        restore(record, *saved);
    } else {
        recordNewRun(record, asked, found);
    }
    recordPreviousVersion(record, saved);
    BuildBasicTelemetryMetadata(record);
    logEvent(LogLevel::Verbose, "BuildBasicTelemetryMetadata", {{"TelemetryMetadata", record.ToLogText()}});
    logMachine();
}

} // namespace kelvane::bst
