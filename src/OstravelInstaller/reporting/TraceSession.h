#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace kelvane::bst {

// Runs one command line and returns its exit code; nothing when it could not be started. Must not throw.
using CommandRunner = std::function<std::optional<std::uint32_t>(const std::wstring& commandLine)>;

// An event-trace session that logman keeps for the installer. No failing command stops the others; without a session
// the events are lost.
class TraceSession {
public:
    TraceSession(std::wstring name, CommandRunner run);

    // Creates the session, with `outputPath` as its file, and enables the providers in it.
    void start(const std::wstring& outputPath);
    // Makes the session write its buffers to the file; takes more than a second. True when both commands succeeded.
    bool flush();
    // Ends the session, if there is one.
    void stop();

private:
    bool succeeds(const std::wstring& commandLine) { return run_(commandLine) == 0U; }
    bool setFlushPeriod(std::wstring_view period);

    std::wstring name_;
    CommandRunner run_;
    bool created_ = false;
};

} // namespace kelvane::bst
