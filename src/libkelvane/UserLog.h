#pragma once

#include "libwin32/TraceLogging.h"

#include <exception>
#include <source_location>
#include <string_view>

namespace kelvane {

// The library log: the records of code that knows no product (registry, files, processes, hardware), in an ETW provider
// of their own. Each carries the source file's last path component, the line and a message.
class UserLog {
public:
    // Registers the provider and hears of every failed Windows call from then on.
    // Throws std::runtime_error "ETW register failed".
    UserLog();
    ~UserLog();
    UserLog(const UserLog&) = delete;
    UserLog& operator=(const UserLog&) = delete;

private:
    win32::TraceProvider provider_;
};

// The level of a record about the exception: what simply was not there (NotFoundError) is no error.
win32::TraceLevel failureLevel(const std::exception& error) noexcept;

// Writes to the process's UserLog; without one the record is dropped. Never throws.
void userLog(win32::TraceLevel level, std::string_view message,
             std::source_location place = std::source_location::current()) noexcept;
void userLog(win32::TraceLevel level, std::wstring_view message,
             std::source_location place = std::source_location::current()) noexcept;

} // namespace kelvane
