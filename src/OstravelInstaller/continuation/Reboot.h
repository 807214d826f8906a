#pragma once

#include <cstdint>

namespace kelvane::bst {

// Reboots the machine, closing applications by force, and ends the process at once with the exit status: the log has to
// be flushed before. Returns only, with false, when the reboot could not be started; that is printed and logged.
bool reboot(std::uint32_t exitStatus) noexcept;

} // namespace kelvane::bst
