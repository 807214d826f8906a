#pragma once

#include <cstdint>
#include <functional>

namespace kelvane::bst {

enum class CleanerOutcome {
    Cleaned = 0,
    RebootNeeded = 1, // before the new agent is installed
    NotCleaned = 2,
};

struct CleanerRun {
    CleanerOutcome outcome = CleanerOutcome::NotCleaned;
    std::uint32_t exitCode = 0;
};

// What the cleaner's exit code means. After an uninstall-only cleaning that succeeded the exit code becomes 2.
// `packageVersionLeft` answers, for exit code 3 alone, whether the package's own version is among those left on the
// machine. Throws std::runtime_error "Unknown cleaner return value" and what `packageVersionLeft` throws.
CleanerRun classifyCleaner(std::uint32_t exitCode, bool uninstallOnly, const std::function<bool()>& packageVersionLeft);

} // namespace kelvane::bst
