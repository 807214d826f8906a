#pragma once

#include <stdexcept>
#include <string_view>

namespace kelvane::bst {

// A flow needs an interactive desktop and there is none.
class ConsoleEnvironmentError : public std::runtime_error {
public:
    ConsoleEnvironmentError()
        : std::runtime_error("An interactive desktop is required to run in interactive mode. Try using the -q flag.") {}
};

// Whether the process has a console window.
bool hasConsoleWindow();

// Attaches a console, titled "OstravelInstaller", and binds standard input, output and error to it; nothing when there
// is one already. Throws Win32Error "Could not allocate console", or those of bindStandardStreams.
void openConsole();

// openConsole for an interactive flow: throws ConsoleEnvironmentError when the process has no interactive desktop.
void openInteractiveConsole();

// One whole line on standard output: to a console as UTF-16, elsewhere as UTF-8. Never throws.
void printLine(std::wstring_view line) noexcept;

// Reads one line from standard input and discards it; returns at the end of input as well.
void waitForEnter() noexcept;

// Asks with a Yes/No box without owner, captioned "OstravelInstaller"; true only for Yes.
bool askYesNo(std::wstring_view question);

} // namespace kelvane::bst
