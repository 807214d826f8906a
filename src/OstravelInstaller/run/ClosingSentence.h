#pragma once

#include "OstravelInstaller/context/RunContext.h"

#include <string>

namespace kelvane::bst {

// What is on the machine now, as the machine says it, for the person whose run has ended. Throws what
// agentStillInstalled throws.
std::wstring closingSentence(const Reported& reported, const Continuation& continuation);

} // namespace kelvane::bst
