#pragma once

#include "OstravelInstaller/context/RunContext.h"

#include <filesystem>
#include <optional>
#include <string>

namespace kelvane::bst {

// What a run leaves for the one that the task starts, in a file beside that one's executable: what it knew, and the
// arguments as they are meant. The task's own are second to them, since the task service replaces %NAME% and $(Arg0).
struct ContinuationState {
    bool guard = false;          // not to outlive a run that comes to its end; else the continuation that 104 speaks of
    bool packageStarted = false; // the agent had been removed and the package, perhaps, been started
    std::uint32_t boots = 0;     // runs begun from it
    std::wstring arguments;
    FileDigest copy; // what the executable holds

    // What the documented command line has no place for.
    std::optional<std::string> agentUid;
    bool isVdi = false;
    bool uwfMode = false;
    std::optional<std::wstring> serverProxy;
    std::optional<std::string> agentProxy;
    std::optional<std::string> siteToken;
    std::optional<ManagementSettings> managementSettings;
    std::wstring initiator;
    std::optional<std::filesystem::path> alternativeInstaller;
    bool configBackup = false; // this program made the configuration backup
    TelemetryMetaData::Entries record;

    // Not so in a run whose state was damaged: it had its own arguments and no more.
    bool complete() const { return !record.empty(); }
};

// Runs begun at boot that may fail to come to their end.
inline constexpr std::uint32_t mostBoots = 3;

// What the run knows; arguments and progress are the caller's to fill in.
ContinuationState stateOf(const RunContext& context);
// Gives a run that goes on what the one before it knew, over whatever it found itself.
void restore(Asked& asked, RunContext& context, const ContinuationState& state);

// Writes the file in the copy's folder, whole or not at all. Throws Win32Error.
void saveState(const std::filesystem::path& folder, const ContinuationState& state);
// None when there is no file, or when it is damaged (logged).
std::optional<ContinuationState> loadState(const std::filesystem::path& folder) noexcept;
// Removes the file. The run that the task starts goes by the task's arguments then.
void dropState(const std::filesystem::path& folder) noexcept;

} // namespace kelvane::bst
