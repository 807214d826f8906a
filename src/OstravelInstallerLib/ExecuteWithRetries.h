#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace kelvane::bst {

// Calls `run` up to five times, until it raises no Win32Error, and sleeps 10, 20, 30 and 40 s between. The fifth error
// and any other exception go through. The command line is for the log.
std::uint32_t executeWithRetries(const std::wstring& commandLine, const std::function<std::uint32_t()>& run,
                                 const std::function<void(std::uint32_t)>& sleepMs);
// The same with the system's Sleep.
std::uint32_t executeWithRetries(const std::wstring& commandLine, const std::function<std::uint32_t()>& run);

} // namespace kelvane::bst
