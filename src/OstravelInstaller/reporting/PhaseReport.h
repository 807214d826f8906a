#pragma once

#include "OstravelInstaller/context/Carried.h"
#include "OstravelInstaller/context/FindAgent.h"
#include "OstravelInstaller/context/TelemetryMetaData.h"

#include <string>

// What the management server is told of a run. Nothing of it ever changes the run's result: every failure is logged and
// swallowed.
namespace kelvane::bst {

// What a report needs of a run besides the record.
struct ReportSource {
    const Found& found;               // the server, the site, and the agent's own proxy
    const std::wstring& msiArguments; // of the package; a proxy in them goes first
    const Carried& carried;           // the log, and a place for the record's file
};

// Records the phase and sends the record; with the log unless `metadataOnly`, and then without it when that fails three
// times.
void ReportPhase(TelemetryMetaData& record, const ReportSource& source, InstallationPhaseType phase,
                 bool metadataOnly) noexcept;

// Posts the short status object, once.
void SendStatusToMgmt(const TelemetryMetaData& record, const ReportSource& source) noexcept;

} // namespace kelvane::bst
