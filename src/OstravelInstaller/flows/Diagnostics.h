#pragma once

#include "OstravelInstaller/context/RunContext.h"

namespace kelvane::bst {

// The run that only takes diagnostics: 0, or 201 when the cleaner could not take them.
InstallerResult runDiagnosticsOnly(RunContext& context);

// Diagnostics within another run; the outcome is only logged.
void takeDiagnostics(const RunContext& context);

} // namespace kelvane::bst
