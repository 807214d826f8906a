#pragma once

#include "libwin32/Handles.h"

#include <cstdint>
#include <filesystem>
#include <string>

// Running command lines. A program is started by its full path; the command line is passed on word for word.
namespace kelvane {

struct ProcessHandles {
    win32::UniqueHandle process;
    win32::UniqueHandle thread;
};

struct StartOptions {
    // The full path given to Windows as application name; empty: the command line's first, quoted path.
    std::filesystem::path program{};
    std::uint32_t creationFlags = 0;
    bool inheritHandles = false;
};

// Starts the command line in the system directory. Throws Win32Error, also when no full path of the program is known.
ProcessHandles executeAndGetHandles(const std::wstring& commandLine, const StartOptions& options = {});

// Starts, waits at most `waitMs` (INFINITE: without limit), returns the exit code; 259 (STILL_ACTIVE) when it still
// runs. Throws Win32Error.
std::uint32_t execute_throw(const std::wstring& commandLine, const StartOptions& options, std::uint32_t waitMs);

struct ExecuteResult {
    std::uint32_t exitCode = 0;
    std::string output; // standard output and standard error, as bytes, each whole
    std::string errorOutput;
};
// Runs the command as a Subprocess, without limit, and collects what it writes. Throws Win32Error.
ExecuteResult execute(const std::wstring& commandLine, const StartOptions& options = {});

// Runs the command as a Subprocess that is ended when it still runs after `waitMs`: 259 (STILL_ACTIVE) then. Another
// exit code is logged. A wait of 0xFFFFFFFF ms or more is refused with std::out_of_range "Specified timeout is too
// large.". Throws Win32Error.
std::uint32_t executeTimed(const std::wstring& commandLine, const StartOptions& options, std::uint64_t waitMs);

} // namespace kelvane
