#pragma once

namespace kelvane {

// Whether the service is in the running state, asked once. Never throws: a service that is not there or cannot be asked
// is not running, and the failed call is logged at verbose level.
bool isServiceRunning(const wchar_t* serviceName) noexcept;

} // namespace kelvane
