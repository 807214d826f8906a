#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace kelvane::bst {

// Runs one command line of logman, five minutes at most; returns its exit code, 259 (STILL_ACTIVE) when it had to be
// ended, nothing when it could not be started or waited for (the library log has the call that failed).
std::optional<std::uint32_t> runLogman(const std::wstring& commandLine);

} // namespace kelvane::bst
