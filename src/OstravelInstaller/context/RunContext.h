#pragma once

#include "OstravelInstaller/context/Asked.h"
#include "OstravelInstaller/context/Carried.h"
#include "OstravelInstaller/context/FindAgent.h"
#include "OstravelInstaller/context/PackageRun.h"
#include "OstravelInstaller/context/ReinstallReason.h"
#include "OstravelInstaller/context/TelemetryMetaData.h"
#include "libkelvane/FileDigest.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

// What a run knows, in parts by who fills them. A unit takes the parts that it needs; the flows, which decide, and what
// must carry a whole run over a reboot take them all.
namespace kelvane::bst {

// What the flows have decided, for the package and the continuation; ContextBuilder begins it, in a run that goes on
// with what the one before it had decided.
struct Decided {
    std::optional<ReinstallReason> reinstallReason;
    bool downgradeDetected = false;
    bool uwfMode = false;                    // preserved: the agent runs under the Unified Write Filter
    std::optional<std::wstring> serverProxy; // preserved, or "none"; what the caller's own arguments say is not here
    std::wstring msiArguments;               // what the package is given; every property added has a leading blank
    std::optional<std::string> extraMsiText; // further properties for the package, passed on as they stand
};

// What is to run at the next boot, as far as it concerns this run. Filled by continuation/; the dispatcher notes that
// what it found waits.
struct Continuation {
    bool nothingFound = false;    // the task service has said that nothing was scheduled when the run began
    std::filesystem::path found;  // the folder of what was
    bool foundGuard = false;      // and that a run had left it which was cut off
    std::filesystem::path folder; // of what this run has scheduled, or was started from
    FileDigest copy;              // what the executable in either holds
    std::wstring arguments;       // its task's
    bool own = false;             // this run was started from it
    std::uint32_t boots = 0;      // runs begun from it
    bool packageStarted = false;  // one of them may have begun to install
    bool scheduled = false;       // it waits for the reboot
};

// What came of the run so far, and what is told of it. Filled by the flows and, at the end, by RunDriver and FinishRun;
// reporting/ reads it.
struct Reported {
    TelemetryMetaData telemetry;
    std::optional<PackageRun> lastPackage; // none before it has ended
    bool installationDone = false;         // by this run's package
    bool brokenOff = false;                // by an exception: what the run, or its cleaning, came to is not known
    bool dynamicMonitoringRebootAdvised = false;
    bool forceLogUpload = false;
    InstallerResult result = InstallerResult::UnexpectedError;
};

// All of it; owned by the run driver, handed by reference to every flow.
struct RunContext {
    RunContext(const Asked& request, const BaseFolder& base) : asked(request), carried(base) {}

    const Asked& asked;
    Found found;
    Carried carried;
    Decided decided;
    Continuation continuation;
    Reported reported;
};

} // namespace kelvane::bst
