#include "libwin32/Subprocess.h"

#include "libwin32/ChildPipe.h"
#include "libwin32/Win32Error.h"

#include <algorithm>
#include <array>
#include <vector>

namespace win32 {
namespace {

UniqueHandle createKillingJob(const std::wstring& name) {
    UniqueHandle job(CreateJobObjectW(nullptr, name.empty() ? nullptr : name.c_str()));
    check(static_cast<bool>(job), "CreateJobObject");
    JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits{};
    limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
    check(SetInformationJobObject(job.get(), JobObjectExtendedLimitInformation, &limits, sizeof limits),
          "SetInformationJobObject");
    return job;
}

struct AttributeListTraits {
    using Type = LPPROC_THREAD_ATTRIBUTE_LIST;
    static bool isValid(Type list) { return list != nullptr; }
    static void close(Type list) { DeleteProcThreadAttributeList(list); }
};

// The start-up attribute that lets a child inherit the given handles and no others. The handles are borrowed.
template <std::size_t Count>
class InheritedHandles {
public:
    explicit InheritedHandles(std::array<HANDLE, Count>& handles) {
        SIZE_T size = 0;
        InitializeProcThreadAttributeList(nullptr, 1, 0, &size);
        storage_.resize(size);
        const auto list = reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(storage_.data());
        check(InitializeProcThreadAttributeList(list, 1, 0, &size), "InitializeProcThreadAttributeList");
        list_.reset(list);
        check(UpdateProcThreadAttribute(list, 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST, handles.data(), sizeof handles,
                                        nullptr, nullptr),
              "UpdateProcThreadAttribute");
    }
    LPPROC_THREAD_ATTRIBUTE_LIST get() const noexcept { return list_.get(); }

private:
    std::vector<std::byte> storage_;
    UniqueResource<AttributeListTraits> list_;
};

const wchar_t* orNull(const std::wstring& text) { return text.empty() ? nullptr : text.c_str(); }

DWORD remainingMs(std::int64_t timeoutMs, ULONGLONG startTick) {
    if (timeoutMs >= std::int64_t{INFINITE}) return INFINITE;
    const auto elapsed = static_cast<std::int64_t>(GetTickCount64() - startTick);
    return static_cast<DWORD>(std::max<std::int64_t>(timeoutMs - elapsed, 0));
}

} // namespace

struct Subprocess::StandardHandles {
    HANDLE input, output, errorOutput;
};

Subprocess::Subprocess(const std::wstring& commandLine, const SubprocessOptions& options)
    : job_(createKillingJob(options.jobName)) {
    // The server end of every pipe reads: a child gets no standard input.
    ChildPipe input = createChildPipe(PipeAccess::Blocking);
    ChildPipe output = createChildPipe(PipeAccess::Overlapped);
    ChildPipe errorOutput = createChildPipe(PipeAccess::Overlapped);
    start(commandLine, options, {input.client.get(), output.client.get(), errorOutput.client.get()});
    // Before Windows 8 a process of somebody else's job cannot be put into ours: then only its own end is seen to.
    check(AssignProcessToJobObject(job_.get(), process_.get()) || GetLastError() == ERROR_ACCESS_DENIED,
          "AssignProcessToJobObject");
    check(ResumeThread(thread_.get()) != static_cast<DWORD>(-1), "ResumeThread");

    // The client ends close here, so that a pipe breaks when the child is the last to let go of it.
    input_ = std::move(input.server);
    output_.emplace(std::move(output.server));
    errorOutput_.emplace(std::move(errorOutput.server));
}

void Subprocess::start(std::wstring commandLine, const SubprocessOptions& options, StandardHandles handles) {
    std::array inherited{handles.input, handles.output, handles.errorOutput};
    const InheritedHandles attributes(inherited);
    STARTUPINFOEXW startup{};
    startup.StartupInfo.cb = sizeof startup;
    startup.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
    startup.StartupInfo.hStdInput = handles.input;
    startup.StartupInfo.hStdOutput = handles.output;
    startup.StartupInfo.hStdError = handles.errorOutput;
    startup.lpAttributeList = attributes.get();

    const wchar_t* program = orNull(options.program);
    const wchar_t* directory = orNull(options.workingDirectory);
    const DWORD flags = CREATE_SUSPENDED | EXTENDED_STARTUPINFO_PRESENT | options.creationFlags;
    PROCESS_INFORMATION child{};
    check(options.userToken ? CreateProcessAsUserW(options.userToken, program, commandLine.data(), nullptr, nullptr,
                                                   TRUE, flags, nullptr, directory, &startup.StartupInfo, &child)
                            : CreateProcessW(program, commandLine.data(), nullptr, nullptr, TRUE, flags, nullptr,
                                             directory, &startup.StartupInfo, &child),
          "CreateProcess");
    process_.reset(child.hProcess);
    thread_.reset(child.hThread);
    processId_ = child.dwProcessId;
}

void Subprocess::wait(std::int64_t timeoutMs) {
    const ULONGLONG startTick = GetTickCount64();
    while (true) {
        switch (waitOnce(remainingMs(timeoutMs, startTick))) {
        case WAIT_OBJECT_0:
            output_->finish();
            errorOutput_->finish();
            return;
        case WAIT_OBJECT_0 + 1:
            throw CanceledError();
        case WAIT_TIMEOUT:
            throw TimeoutError();
        case WAIT_FAILED:
            throwLastError("WaitForMultipleObjects");
        default:
            for (auto* reader : {&*output_, &*errorOutput_}) {
                if (!reader->ended() && reader->ready().isSignalled()) reader->receive();
            }
        }
    }
}

DWORD Subprocess::waitOnce(DWORD timeoutMs) {
    std::vector<HANDLE> handles{process_.get(), cancelEvent_.handle()};
    for (const auto* reader : {&*output_, &*errorOutput_}) {
        // At the time limit only the child's end counts, however much it has to say.
        if (timeoutMs != 0 && !reader->ended()) handles.push_back(reader->ready().handle());
    }
    return WaitForMultipleObjects(static_cast<DWORD>(handles.size()), handles.data(), FALSE, timeoutMs);
}

std::uint32_t Subprocess::exitCode() const {
    DWORD code = 0;
    check(GetExitCodeProcess(process_.get(), &code), "GetExitCodeProcess");
    return code;
}

} // namespace win32
