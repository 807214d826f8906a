#include "libkelvane/Utilities.h"

#include "libkelvane/PathUtils.h"
#include "libkelvane/UserLog.h"
#include "libwin32/Subprocess.h"
#include "libwin32/Text.h"
#include "libwin32/Win32Error.h"

#include <stdexcept>

namespace kelvane {
namespace {

// The full path that stands for the program, so that Windows never looks for it in PATH or the current directory.
std::wstring programPath(const std::wstring& commandLine, const StartOptions& options,
                         std::source_location place = std::source_location::current()) {
    std::filesystem::path program = options.program;
    if (program.empty() && commandLine.starts_with(L'"'))
        program = commandLine.substr(1, commandLine.find(L'"', 1) - 1);
    if (!PathUtils::isAbsolute(program)) win32::throwWin32("CreateProcess", ERROR_FILE_NOT_FOUND, place);
    return program.native().size() < MAX_PATH ? program.native() : PathUtils::longPath(program).native();
}

win32::Subprocess startSubprocess(const std::wstring& commandLine, const StartOptions& options,
                                  std::source_location place = std::source_location::current()) {
    return win32::Subprocess(commandLine, {.program = programPath(commandLine, options, place),
                                           .workingDirectory = PathUtils::systemDirectory().native(),
                                           .creationFlags = options.creationFlags});
}

} // namespace

ProcessHandles executeAndGetHandles(const std::wstring& commandLine, const StartOptions& options) {
    const std::wstring program = programPath(commandLine, options);
    const std::wstring directory = PathUtils::systemDirectory().native();
    std::wstring arguments = commandLine;
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION child{};
    win32::check(CreateProcessW(program.c_str(), arguments.data(), nullptr, nullptr, options.inheritHandles,
                                options.creationFlags, nullptr, directory.c_str(), &startup, &child),
                 "CreateProcess");
    return {win32::UniqueHandle(child.hProcess), win32::UniqueHandle(child.hThread)};
}

std::uint32_t execute_throw(const std::wstring& commandLine, const StartOptions& options, std::uint32_t waitMs) {
    const ProcessHandles child = executeAndGetHandles(commandLine, options);
    const DWORD ended = WaitForSingleObject(child.process.get(), waitMs);
    win32::check(ended != WAIT_FAILED, "WaitForSingleObject");
    DWORD exitCode = 0;
    win32::check(GetExitCodeProcess(child.process.get(), &exitCode), "GetExitCodeProcess");
    return exitCode;
}

ExecuteResult execute(const std::wstring& commandLine, const StartOptions& options) try {
    win32::Subprocess child = startSubprocess(commandLine, options);
    child.wait();
    return {child.exitCode(), child.takeOutput(), child.takeErrorOutput()};
} catch (const win32::Win32Error& error) {
    // It was logged where it was made; to the caller it is a failure of this function.
    throw win32::Win32Error(error.call(), error.code(), std::source_location::current());
}

std::uint32_t executeTimed(const std::wstring& commandLine, const StartOptions& options, std::uint64_t waitMs) {
    if (waitMs >= INFINITE) throw std::out_of_range("Specified timeout is too large.");
    win32::Subprocess child = startSubprocess(commandLine, options);
    try {
        child.wait(static_cast<std::int64_t>(waitMs));
    } catch (const win32::TimeoutError&) {
        return STILL_ACTIVE;
    }
    const std::uint32_t exitCode = child.exitCode();
    userLog(win32::TraceLevel::Information, win32::formatText(L"The command ended with exit code %u", exitCode));
    if (exitCode != 0) userLog(win32::TraceLevel::Information, child.takeOutput() + child.takeErrorOutput());
    return exitCode;
}

} // namespace kelvane
