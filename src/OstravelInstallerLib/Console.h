#pragma once

#include <stdexcept>
#include <string>
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

// Throws ConsoleEnvironmentError when the process has no desktop that anybody sees.
void requireDesktop();

// Attaches a console, titled "OstravelInstaller", and binds standard input, output and error to it; nothing when there
// is one already. Throws ConsoleEnvironmentError without a visible desktop, Win32Error "Could not allocate console", or
// those of bindStandardStreams.
void openConsole();

// openConsole for an interactive flow: a console that cannot be allocated is a ConsoleEnvironmentError, too.
void openInteractiveConsole();

// A person may be watching: from now on the first line that has no standard output to go to opens the console, and
// progress is shown.
void openConsoleOnDemand() noexcept;

// Whether a console window, now or later, has its close button: closing it would end the process.
void setConsoleClosable(bool closable) noexcept;

// One whole line on standard output: to a console as UTF-16, elsewhere as UTF-8; also an event. Never throws.
void printLine(std::wstring_view line) noexcept;

// Shows how far the run is, on one line of a console that the next call rewrites and the next printed line takes;
// an empty text removes it. False where it is not shown: nobody is watching, or standard output is no console. It is no
// event. From any thread; never throws.
bool showProgress(std::wstring_view text) noexcept;

// A reason that is not printed (UTF-8), kept in place of the last line. Never throws.
void noteUnprinted(std::string_view reason) noexcept;
// The last printed line or unprinted reason, in UTF-8: what a run that fails has said about it.
const std::string& lastWord() noexcept;

// Reads one line from standard input and discards it; returns at the end of input as well.
void waitForEnter() noexcept;

// Asks with a Yes/No box without owner, captioned "OstravelInstaller"; true only for Yes. Question and answer are also
// an event.
bool askYesNo(std::wstring_view question);

} // namespace kelvane::bst
