#pragma once

#include "OstravelInstaller/cleaner/CleanerCommandLine.h"
#include "OstravelInstaller/cleaner/CleanerOutcome.h"
#include "OstravelInstaller/context/InstallerResult.h"
#include "OstravelInstaller/context/PayloadPackage.h"

// Runs of the payload's cleaner, KelvaneCleaner.exe. A run that cannot be started or waited for is tried five times.
namespace kelvane::bst {

// Removes the installed agent; returns the cleaner's exit code. Throws Win32Error, StuckMonitorError,
// std::runtime_error "cleaner is still running" and as cleaningCommandLine.
std::uint32_t runCleaner(const std::filesystem::path& cleaner, const CleanerOptions& options);

// The same with the payload's, classified. Throws as runCleaner and classifyCleaner.
CleanerRun runAndClassifyCleaner(const PayloadPackage& payload, const CleanerOptions& options);

// Only takes diagnostics: Success, or DiagnosticsFailed whatever went wrong.
InstallerResult runDiagnosticOnlyUsingCleaner(const std::filesystem::path& contentDirectory,
                                              const DiagnosticsOptions& options) noexcept;

} // namespace kelvane::bst
