#pragma once

#include "OstravelInstaller/context/BaseFolder.h"
#include "OstravelInstaller/context/TelemetryMetaData.h"

#include <filesystem>
#include <optional>

// The folders in the base folder, named "QX_R_" and a GUID, that hold what a run leaves for its continuation: a copy of
// the installer and the telemetry record. Administrators and SYSTEM alone can use them.
namespace kelvane::bst {

// Copies the running executable into a new folder; returns the copy's path. On failure nothing is left behind.
// Throws std::runtime_error "Failed to create copy of current OstravelInstaller.".
std::filesystem::path copySelf(const BaseFolder& baseFolder);

// Saves the record beside the copy. A failure is logged: the continuation then starts a record of its own.
void saveTelemetryRecord(const std::filesystem::path& folder, const TelemetryMetaData& record) noexcept;
// The record saved beside the running executable when that is such a copy; none otherwise, and when it cannot be read.
std::optional<TelemetryMetaData::Entries> loadSavedTelemetryRecord(const BaseFolder& baseFolder) noexcept;

// In a run of such a copy: deletes what lies beside it. The copy itself is in use, and left to a later ordinary run.
void cleanUpContinuation(const BaseFolder& baseFolder) noexcept;
// Deletes all such folders that administrators own, but the running executable's own. Not to be called while a
// continuation is scheduled.
void removeStaleCopies(const BaseFolder& baseFolder) noexcept;

} // namespace kelvane::bst
