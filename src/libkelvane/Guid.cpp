#include "libkelvane/Guid.h"

#include "libwin32/NewGuid.h"

namespace kelvane {

std::wstring newGuid() { return win32::newGuid(); }

} // namespace kelvane
