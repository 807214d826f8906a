#pragma once

#include "OstravelInstaller/context/RunContext.h"
#include "OstravelInstaller/continuation/RebootContinuation.h"

#include <optional>

namespace kelvane::bst {

struct CleaningResult {
    std::optional<InstallerResult> ending; // the run ends here, with this result
    bool needsReboot = false;              // the new agent can be installed only after a reboot
};

// Runs the cleaner and says how the run goes on; a run that only cleans ends here.
CleaningResult runCleaningStage(RunContext& context, PostRebootAction stage);

} // namespace kelvane::bst
