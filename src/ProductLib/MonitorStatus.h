#pragma once

namespace kelvane {

// The agent's file-system monitor, a minifilter driver. Each question is asked once, without waiting. None throws: what
// cannot be found out is logged and counts as not stuck, so that a host without the driver installs normally.

// Whether the driver's service is in the running state.
bool isMonitorServiceRunning() noexcept;
// Whether the driver has closed its communication port (or is not loaded).
bool isMonitorPortDown() noexcept;
// Still loaded with its port closed already: only a restart of the machine helps.
bool isMonitorStuck() noexcept;

} // namespace kelvane
