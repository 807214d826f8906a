#pragma once

#include "OstravelPack/report/CommandLine.h"

namespace kelvane::pack {

// Packs as the command line says and prints what came of it. Throws Refusal, Win32Error; a file that is there already
// stays then.
void pack(const CommandLine& line);

} // namespace kelvane::pack
