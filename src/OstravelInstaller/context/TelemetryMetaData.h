#pragma once

#include "OstravelInstaller/context/TelemetryKeys.h"

#include <string>
#include <string_view>
#include <unordered_map>

namespace kelvane::bst {

// The phases of a run, as reported to the management server.
enum class InstallationPhaseType {
    Initial = 10,
    Installation = 20,
    Upgrade = 30,
    Cleaning = 40,
    Reinstallation = 50,
    WaitingForReboot = 80,
    Complete = 100,
};

// The phase's name; "Unknown InstallationPhaseType" for a number that is no phase.
std::wstring_view phaseName(InstallationPhaseType phase);

// The run's telemetry record: a flat map from key to text. Values are cut to 150 UTF-16 code units when they are
// stored, so that the record stays small enough to be sent at every phase change; control characters in them become
// blanks, so that no value can look like more than one when it is sent.
class TelemetryMetaData {
public:
    using Entries = std::unordered_map<std::wstring, std::wstring>;

    void SetValue(std::wstring_view key, std::wstring_view value);
    // UTF-8; text that does not convert is stored as the empty string.
    void SetValueUtf8(std::wstring_view key, std::string_view value);
    void SetInstallationPhase(InstallationPhaseType phase);
    // Throws std::out_of_range "invalid unordered_map<K, T> key" for an absent key.
    std::wstring GetValue(std::wstring_view key) const;
    bool empty() const { return values_.empty(); }
    const Entries& entries() const { return values_; }

    // "TelemetryMetaData = {", one line "    {KEY : VALUE}" per entry, "}".
    std::wstring ToLogText() const;

private:
    Entries values_;
};

} // namespace kelvane::bst
