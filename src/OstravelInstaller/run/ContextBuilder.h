#pragma once

#include "OstravelInstaller/context/RunContext.h"

namespace kelvane::bst {

// Fills the context of a run that begins: working directory, installed agent and what its files say, base property
// string.
void buildRunContext(RunContext& context);

} // namespace kelvane::bst
