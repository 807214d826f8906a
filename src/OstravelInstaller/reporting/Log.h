#pragma once

#include "OstravelInstaller/context/BaseFolder.h"
#include "OstravelInstaller/reporting/TraceSession.h"

#include <filesystem>

namespace kelvane::bst {

// The installer's log: a trace session of this run's own, recorded into an .etl file, and the provider that feeds it.
// The library log must be registered before. One per process.
class Log {
public:
    // Starts a session with a new name, its file a new one in the base folder, and switches the installer's events on.
    // A logman that fails, cannot be started or hangs (5 minutes for each command) costs events, nothing else.
    explicit Log(const BaseFolder& baseFolder);
    // Ends the session; what is still in its buffers is written to the file. A file that stayed empty is removed.
    ~Log();
    Log(const Log&) = delete;
    Log& operator=(const Log&) = delete;

    // Empty when no file could be made.
    const std::filesystem::path& path() const noexcept { return path_; }
    // Writes the session's buffers to the file, for a reader of the file or before a reboot. False when a command
    // failed.
    bool FlushLog() noexcept;

private:
    std::filesystem::path path_;
    TraceSession session_;
};

} // namespace kelvane::bst
