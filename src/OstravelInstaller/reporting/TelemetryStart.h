#pragma once

#include "OstravelInstaller/context/Asked.h"
#include "OstravelInstaller/context/FindAgent.h"
#include "OstravelInstaller/context/TelemetryMetaData.h"

#include <optional>

namespace kelvane::bst {

// Fills the record of a run that begins; `saved` is the record of the run that this one continues after a reboot.
void startTelemetry(TelemetryMetaData& record, const Asked& asked, const Found& found,
                    const std::optional<TelemetryMetaData::Entries>& saved);

// What the installer carries, and the machine's system and kind.
void BuildBasicTelemetryMetadata(TelemetryMetaData& record);

// One of "Other", "Management", "Cleaner", "OstravelInstaller"; any other initiator is "Other".
std::wstring_view initiatorName(std::wstring_view initiator);

} // namespace kelvane::bst
