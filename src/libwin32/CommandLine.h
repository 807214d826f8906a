#pragma once

#include <string>
#include <string_view>

// Writing command lines that CommandLineToArgvW, and the C run-time, take apart again into the same values.
namespace win32 {

// What stands between two double quotes for this value: inner quotes, and the backslashes before a quote, escaped.
std::wstring escapeQuoted(std::wstring_view value);
// The value bare, or in quotes when it would fall apart without them.
std::wstring quoteIfNeeded(std::wstring_view value);

// Throws std::runtime_error for a command line that is longer than Windows takes.
void checkCommandLine(std::wstring_view commandLine);

} // namespace win32
