#pragma once

#include <cstdint>
#include <source_location>
#include <stdexcept>
#include <string>
#include <string_view>

namespace win32 {

// Where an error was made: the source unit ("libkelvane\RegKey", the file's path below src/ without its ending), the
// name of the function, and the line.
struct ErrorLocation {
    ErrorLocation(const std::source_location& place);

    std::string file; // last component of the source file's path
    std::string unit;
    std::string function;
    std::uint32_t line;
};

// A failed Windows call: what failed (the call's name, or a message in its stead), its error code, and where.
// what() reads "CALL: error CODE: SYSTEM TEXT [UNIT FUNCTION]", in UTF-8.
class Win32Error : public std::runtime_error {
public:
    Win32Error(std::string_view call, std::uint32_t code, const ErrorLocation& location);

    const std::string& call() const { return call_; }
    std::uint32_t code() const { return code_; }
    const ErrorLocation& location() const { return location_; }

private:
    std::string call_;
    std::uint32_t code_;
    ErrorLocation location_;
};

// A look-up of something that is not there: raised like a failure, but none until its caller says so.
class NotFoundError : public Win32Error {
    using Win32Error::Win32Error;
};

// A failed native call; code() is its NTSTATUS.
class nt_error : public Win32Error {
    using Win32Error::Win32Error;
};

// A failed WMI call; code() is its HRESULT.
class WMIError : public Win32Error {
    using Win32Error::Win32Error;
};

// The one place that hears of every failed call before it is raised (the library log). Set once, at start-up.
using FailureHook = void (*)(const Win32Error&) noexcept;
void setFailureHook(FailureHook hook);

// Raise a Win32Error, or the given kind of one, after telling the hook.
// `function` replaces the name of the calling function, for code that runs inside a lambda or a shared helper.
[[noreturn]] void throwWin32(std::string_view call, std::uint32_t code,
                             std::source_location place = std::source_location::current());
[[noreturn]] void throwNotFound(std::string_view call, std::uint32_t code,
                                std::source_location place = std::source_location::current());
[[noreturn]] void throwLastError(std::string_view call, std::source_location place = std::source_location::current());
[[noreturn]] void throwWmiError(std::string_view call, long hresult,
                                std::source_location place = std::source_location::current());

// throwLastError unless `succeeded`; the last error is read before anything else can change it.
inline void check(bool succeeded, std::string_view call, std::source_location place = std::source_location::current()) {
    if (!succeeded) throwLastError(call, place);
}

// throwWin32 with the code unless it is 0 (calls that return their error: the registry's).
inline void checkCode(long code, std::string_view call, std::source_location place = std::source_location::current()) {
    if (code != 0) throwWin32(call, static_cast<std::uint32_t>(code), place);
}

// throwWin32 with the HRESULT when it is a failure (COM).
inline void checkHresult(long hresult, std::string_view call,
                         std::source_location place = std::source_location::current()) {
    if (hresult < 0) throwWin32(call, static_cast<std::uint32_t>(hresult), place);
}

// The system's text of an error code, without line end, in UTF-8; "unknown error" when it has none.
std::string systemErrorText(std::uint32_t code);

} // namespace win32
