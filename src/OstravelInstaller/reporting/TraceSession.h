#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace kelvane::bst {

// A session of ours is named by a prefix and a GUID; another name is never put into a command line.
std::wstring newSessionName();
bool isSessionName(std::wstring_view name);
void stopSession(const std::wstring& name);

// An event-trace session that logman keeps for the installer. No failing command stops the others; without a session
// the events are lost.
class TraceSession {
public:
    explicit TraceSession(std::wstring name) : name_(std::move(name)) {}

    // Creates the session, with `outputPath` as its file, and enables the providers in it. `beforeRetry` is called when
    // the create command failed, before it is tried once more.
    void start(const std::wstring& outputPath, const std::function<void()>& beforeRetry);
    // Makes the session write its buffers to the file; takes more than a second. True when both commands succeeded.
    bool flush();
    // Ends the session, if there is one or may be one.
    void stop();

private:
    bool mayExist() const;
    bool setFlushPeriod(std::wstring_view period);

    std::wstring name_;
    std::optional<std::uint32_t> created_ = 1; // what the create command said, nothing when that is not known
};

} // namespace kelvane::bst
