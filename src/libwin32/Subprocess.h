#pragma once

#include "libwin32/Handles.h"
#include "libwin32/PipeReader.h"
#include "libwin32/SubprocessErrors.h"
#include "libwin32/Win32Event.h"

#include <cstdint>
#include <limits>
#include <optional>
#include <string>

namespace win32 {

struct SubprocessOptions {
    std::wstring program{}; // full path, the application name given to Windows
    std::wstring workingDirectory{};
    std::uint32_t creationFlags = 0; // besides those that a Subprocess always has
    HANDLE userToken = nullptr;      // the child runs as this user; none: as this process
    std::wstring jobName{};          // empty: the job is anonymous
};

// Owner of a process that does not outlive it.
struct KilledProcessTraits : HandleTraits {
    static void close(HANDLE process) {
        TerminateProcess(process, ERROR_PROCESS_ABORTED);
        HandleTraits::close(process);
    }
};
using UniqueKilledProcess = UniqueResource<KilledProcessTraits>;

// A child process in a job of its own, its output captured through named pipes. Neither it nor what it has started
// outlives the object, or this process; where jobs do not nest, only the child itself ends with the object.
class Subprocess {
public:
    static constexpr std::int64_t withoutLimit = std::numeric_limits<std::int64_t>::max();

    // Starts the child; not one instruction of it runs outside the job. Throws Win32Error.
    explicit Subprocess(const std::wstring& commandLine, const SubprocessOptions& options = {});

    // Waits for the child's end and reads its output meanwhile. Throws TimeoutError, CanceledError, Win32Error.
    void wait(std::int64_t timeoutMs = withoutLimit);
    // May be set from any thread to abandon a wait.
    Win32Event& cancelEvent() noexcept { return cancelEvent_; }

    DWORD processId() const noexcept { return processId_; }
    // STILL_ACTIVE (259) while it runs. Throws Win32Error.
    std::uint32_t exitCode() const;
    // What the child wrote, whole, after a wait that succeeded; each once. Throws StillPendingError, AlreadyReadError.
    std::string takeOutput() { return output_->takeOutput(); }
    std::string takeErrorOutput() { return errorOutput_->takeOutput(); }

private:
    struct StandardHandles;
    void start(std::wstring commandLine, const SubprocessOptions& options, StandardHandles handles);
    DWORD waitOnce(DWORD timeoutMs);

    UniqueHandle job_;
    UniqueKilledProcess process_;
    UniqueHandle thread_;
    DWORD processId_ = 0;
    UniqueHandle input_;
    std::optional<PipeReader> output_;
    std::optional<PipeReader> errorOutput_;
    Win32Event cancelEvent_;
};

} // namespace win32
