#pragma once

#include "OstravelInstaller/context/RunContext.h"

namespace kelvane::bst {

// Looks for the installed agent and reads what its configuration files say; also anew, after an installation.
void findAgent(RunContext& context);

} // namespace kelvane::bst
