#pragma once

#include "OstravelInstaller/context/RunContext.h"

namespace kelvane::bst {

// The end of every run that had a context: cleans up, leaves the result for outside tools, and reboots where that is
// due: on request, or after asking the person at the machine.
void finishRun(RunContext& context) noexcept;

} // namespace kelvane::bst
