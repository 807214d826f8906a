#pragma once

#include "OstravelInstallerLib/CommandLineUtils.h"

#include <cstdint>
#include <optional>
#include <string>

namespace kelvane::bst {

// What a run that continues after a reboot does; the number is the value of its option -r, and the stage of its clean
// and reinstall. None: an ordinary run.
enum class PostRebootAction : std::uint32_t { None = 0, CleanAndInstall = 1, Install = 2 };

// Throws std::runtime_error "Unsupported post reboot action value".
PostRebootAction decodePostRebootAction(std::uint32_t value);

struct ContinuationArguments {
    const Options& options; // of this run; some of them are passed on
    PostRebootAction action = PostRebootAction::None;
    std::string siteToken{}; // opaque
    std::wstring installationId{};
    std::optional<std::wstring> reinstallReason{}; // the reason's name
    std::optional<std::wstring> i{};               // -i, -u, -m: values of options that a build may have
    std::optional<std::string> u{};
    std::optional<std::string> m{};
    std::wstring diagnosticUid{}; // passed on unless it is empty
};

// The arguments with which the installer's copy is started. Every value arrives there unchanged, whatever quotes,
// blanks and backslashes it holds. Throws std::runtime_error for one with a NUL or a line break.
std::wstring continuationCommandLine(const ContinuationArguments& arguments);

} // namespace kelvane::bst
