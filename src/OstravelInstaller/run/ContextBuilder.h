#pragma once

#include "OstravelInstaller/run/RunContext.h"

namespace kelvane::bst {

// Fills the context of a run that begins: working directory, installed agent and what its files say, base property
// string.
void buildRunContext(RunContext& context);

// Looks anew for the installed agent and reads what its configuration files say.
void findAgent(RunContext& context);

} // namespace kelvane::bst
