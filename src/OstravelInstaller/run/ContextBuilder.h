#pragma once

#include "OstravelInstaller/context/RunContext.h"
#include "OstravelInstaller/continuation/ResumedRun.h"

namespace kelvane::bst {

// Fills the context of a run that begins, and `asked`, which it refers to: working directory, installed agent and what
// its files say, base property string. What was left for a run that goes on is put over what it finds itself.
void buildRunContext(Asked& asked, RunContext& context, const std::optional<ResumedRun>& resumed);

} // namespace kelvane::bst
