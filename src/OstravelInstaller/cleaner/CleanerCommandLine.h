#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

// The command lines of the payload's cleaner. A site token or diagnostic identifier that could bring in arguments of
// its own (a double quote, a NUL, a line break) throws std::runtime_error.
namespace kelvane::bst {

struct CleanerOptions {
    bool hideWindow = false;
    bool statelessUpgrade = false;
    std::optional<std::string> siteToken{}; // opaque
    bool diagnostics = false;
    bool lm = false;
    std::uint32_t healthCheckMode = 0;
    bool uninstallOnly = false;
    std::optional<std::string> diagUid{};
    std::uint32_t verbosityLevel = 1;
    bool checkStuckMonitor = true; // while waiting; else the wait is a plain one
};
std::wstring cleaningCommandLine(const std::filesystem::path& cleaner, const CleanerOptions& options);

struct DiagnosticsOptions {
    bool hideWindow = false;
    std::optional<std::string> siteToken{};
    std::optional<std::string> diagUid{};
    std::optional<std::uint32_t> level{};
};
std::wstring diagnosticsCommandLine(const std::filesystem::path& cleaner, const DiagnosticsOptions& options);

} // namespace kelvane::bst
