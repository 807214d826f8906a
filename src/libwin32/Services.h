#pragma once

#include <windows.h>

#include <optional>

namespace win32 {

// The current state of a service (SERVICE_RUNNING and so on); nothing when the service control manager knows no such
// service. Throws Win32Error "OpenSCManager", "OpenService", "QueryServiceStatus".
std::optional<DWORD> serviceState(const wchar_t* name);

} // namespace win32
