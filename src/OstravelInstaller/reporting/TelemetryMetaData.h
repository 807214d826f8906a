#pragma once

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

// The run's telemetry record: a flat map from key to text. Values are cut to 150 UTF-16 code units when they are stored.
class TelemetryMetaData {
public:
    void SetValue(std::wstring_view key, std::wstring_view value);
    // UTF-8; text that does not convert is stored as the empty string.
    void SetValueUtf8(std::wstring_view key, std::string_view value);
    // Throws std::out_of_range "invalid unordered_map<K, T> key" for an absent key.
    std::wstring GetValue(std::wstring_view key) const;

private:
    std::unordered_map<std::wstring, std::wstring> values_;
};

// The record's keys.
namespace TelemetryKey {
inline constexpr std::wstring_view installationId = L"installationId";
inline constexpr std::wstring_view installationResult = L"installationResult";
inline constexpr std::wstring_view installerResult = L"installerResult";
inline constexpr std::wstring_view installerReturnCode = L"installerReturnCode";
inline constexpr std::wstring_view msiExitCode = L"msiExitCode";
} // namespace TelemetryKey

} // namespace kelvane::bst
