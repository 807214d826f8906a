#include "OstravelInstaller/cleaner/CleanerOutcome.h"

#include "ProductLib/InstallerEvents.h"

#include <algorithm>
#include <iterator>
#include <stdexcept>

namespace kelvane::bst {
namespace {

struct ExitCodeRow {
    std::uint32_t exitCode;
    CleanerOutcome outcome;
};

// 3, which depends on the versions left, is not here.
constexpr ExitCodeRow exitCodes[] = {
    {0, CleanerOutcome::Cleaned},     {7, CleanerOutcome::Cleaned},    {2, CleanerOutcome::RebootNeeded},
    {1, CleanerOutcome::NotCleaned},  {4, CleanerOutcome::NotCleaned}, {5, CleanerOutcome::NotCleaned},
    {6, CleanerOutcome::NotCleaned},  {8, CleanerOutcome::NotCleaned}, {13, CleanerOutcome::NotCleaned},
    {14, CleanerOutcome::NotCleaned},
};
constexpr std::uint32_t rebootNeededCode = 2;
constexpr std::uint32_t versionsLeftCode = 3;

CleanerOutcome outcomeOf(std::uint32_t exitCode) {
    const auto row = std::ranges::find(exitCodes, exitCode, &ExitCodeRow::exitCode);
    if (row == std::end(exitCodes)) throw std::runtime_error("Unknown cleaner return value");
    return row->outcome;
}

} // namespace

CleanerRun classifyCleaner(std::uint32_t exitCode, bool uninstallOnly,
                           const std::function<bool()>& packageVersionLeft) {
    if (uninstallOnly && (exitCode == 0 || exitCode == 7)) {
        logEvent(LogLevel::Verbose, "UninstallOnlyCleaningNeedsReboot", {{"RetVal", exitCode}});
        return {CleanerOutcome::RebootNeeded, rebootNeededCode};
    }
    if (exitCode == versionsLeftCode) {
        return {packageVersionLeft() ? CleanerOutcome::RebootNeeded : CleanerOutcome::Cleaned, exitCode};
    }
    return {outcomeOf(exitCode), exitCode};
}

} // namespace kelvane::bst
