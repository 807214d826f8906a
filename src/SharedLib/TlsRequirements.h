#pragma once

#include "SharedLib/HostFacts.h"

#include <functional>
#include <string>

namespace kelvane::system_requirements {

// Updates, TLS 1.2 and cipher suites. Throws NotSupportedExceptionForWixUi, or Win32Error for a call that fails; that
// no strong suite is available is only told to `onWarning`, which may be empty.
void checkTls(const HostFacts& facts, const std::function<void(const std::wstring&)>& onWarning);

} // namespace kelvane::system_requirements
