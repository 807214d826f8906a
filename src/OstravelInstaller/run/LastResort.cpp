#include "OstravelInstaller/run/LastResort.h"

#include "OstravelInstaller/context/InstallerResult.h"
#include "OstravelInstaller/continuation/ExitCodeFile.h"
#include "ProductLib/InstallerEvents.h"
#include "libwin32/Handles.h"

#include <windows.h>

#include <atomic>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <optional>
#include <string>

namespace kelvane::bst {
namespace {

constexpr auto result = code(InstallerResult::UnexpectedError);
// The last words come from a thread of their own, as the failed one may be out of stack or hold a lock that they need.
constexpr DWORD lastWordsMs = 5000;
constexpr ULONG stackLeftForHandler = 64 * 1024;

// Not on the heap, which may be what is broken.
struct Failure {
    std::uint32_t code = 0;
    const void* address = nullptr;
    char what[512]{};
};
Failure failure;
std::optional<bool> exitCodeFileAfterReboot;

// "module.dll+0x1234": what a map of the module resolves.
std::wstring placeOf(const void* address) {
    HMODULE module = nullptr;
    wchar_t path[MAX_PATH]{};
    if (!address ||
        !GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                            static_cast<const wchar_t*>(address), &module)) {
        return {};
    }
    GetModuleFileNameW(module, path, MAX_PATH);
    wchar_t offset[24]{};
    swprintf(offset, 24, L"+0x%llx",
             static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(address) -
                                             reinterpret_cast<std::uintptr_t>(module)));
    return std::wstring(path).substr(std::wstring(path).find_last_of(L'\\') + 1) + offset;
}

DWORD WINAPI leaveLastWords(void*) {
    if (exitCodeFileAfterReboot) writeExitCodeFile(*exitCodeFileAfterReboot, static_cast<std::int32_t>(result));
    logEvent(LogLevel::Error, "UnhandledException",
             {{"Code", failure.code}, {"Place", placeOf(failure.address)}, {"What", failure.what}});
    return 0;
}

[[noreturn]] void endProcess() {
    // Only the first failure has last words; one in them ends them.
    static std::atomic<bool> ending = false;
    if (!ending.exchange(true)) {
        const win32::UniqueHandle thread(CreateThread(nullptr, 0, &leaveLastWords, nullptr, 0, nullptr));
        if (thread) WaitForSingleObject(thread.get(), lastWordsMs);
    }
    TerminateProcess(GetCurrentProcess(), result);
    std::_Exit(static_cast<int>(result));
}

LONG WINAPI onUnhandled(EXCEPTION_POINTERS* exception) {
    failure.code = exception->ExceptionRecord->ExceptionCode;
    failure.address = exception->ExceptionRecord->ExceptionAddress;
    endProcess();
}

[[noreturn]] void onTerminate() {
    try {
        if (const auto current = std::current_exception()) std::rethrow_exception(current);
    } catch (const std::exception& error) {
        std::strncpy(failure.what, error.what(), sizeof failure.what - 1);
    } catch (...) {
        std::strcpy(failure.what, "An exception of no known type");
    }
    endProcess();
}

void onAbort(int) {
    std::strcpy(failure.what, "The program gave up");
    endProcess();
}

void onInvalidParameter(const wchar_t*, const wchar_t*, const wchar_t*, unsigned, std::uintptr_t) {
    std::strcpy(failure.what, "An invalid parameter for the C run-time library");
    endProcess();
}

} // namespace

void installLastResort() noexcept {
    SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX | SEM_NOOPENFILEERRORBOX);
    ULONG stack = stackLeftForHandler;
    SetThreadStackGuarantee(&stack);
    SetUnhandledExceptionFilter(&onUnhandled);
    std::set_terminate(&onTerminate);
    std::signal(SIGABRT, &onAbort);
    _set_invalid_parameter_handler(&onInvalidParameter);
}

void answerForExitCodeFile(bool afterReboot) noexcept { exitCodeFileAfterReboot = afterReboot; }

} // namespace kelvane::bst
