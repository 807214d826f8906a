#include "OstravelInstallerLib/Console.h"

#include "OstravelInstallerLib/StandardStreams.h"
#include "ProductLib/InstallerEvents.h"
#include "libkelvane/UserLog.h"
#include "libwin32/Handles.h"
#include "libwin32/Text.h"
#include "libwin32/Win32Error.h"

#include <cstdio>
#include <mutex>
#include <utility>

namespace kelvane::bst {
namespace {

constexpr wchar_t caption[] = L"OstravelInstaller";

bool opensOnDemand = false;
bool isWatched = false;
bool isClosable = true;

void showClosable() {
    const HMENU menu = GetSystemMenu(GetConsoleWindow(), FALSE);
    if (menu) EnableMenuItem(menu, SC_CLOSE, MF_BYCOMMAND | (isClosable ? MF_ENABLED : MF_GRAYED));
}

std::string& lastWordKept() {
    static std::string word;
    return word;
}

void allocateConsole() {
    if (AllocConsole()) return;
    const DWORD code = GetLastError();
    logEvent(LogLevel::Error, "CreateConsoleFailed");
    win32::throwWin32("Could not allocate console", code);
}

void prepareConsole() {
    if (!SetConsoleTitleW(caption)) {
        userLog(LogLevel::Error, "SetConsoleTitle failed: " + win32::systemErrorText(GetLastError()));
    }
    SetConsoleOutputCP(CP_UTF8); // the command line parser's texts
    bindStandardStreams();
    showClosable();
}

// A service's window station exists, but nobody sees it.
bool hasVisibleDesktop() {
    USEROBJECTFLAGS flags{};
    const HWINSTA station = GetProcessWindowStation();
    return station && GetUserObjectInformationW(station, UOI_FLAGS, &flags, sizeof flags, nullptr) &&
           (flags.dwFlags & WSF_VISIBLE) != 0;
}

[[noreturn]] void throwNoDesktop() {
    logEvent(LogLevel::Error, "NoInteractiveDesktopPresent");
    throw ConsoleEnvironmentError();
}

// A program without a console window may have been given no standard output, or a handle that means nothing to it.
HANDLE usableOutput() {
    const HANDLE output = GetStdHandle(STD_OUTPUT_HANDLE);
    return win32::HandleTraits::isValid(output) && GetFileType(output) != FILE_TYPE_UNKNOWN ? output : nullptr;
}

HANDLE outputForLine() {
    if (const HANDLE output = usableOutput()) return output;
    if (std::exchange(opensOnDemand, false)) openConsole();
    return usableOutput();
}

// What stands on the line that progress is shown on.
std::size_t progressLength = 0;
// Progress is shown by another thread than the one that prints.
std::mutex outputLock;

bool isConsole(HANDLE output) {
    DWORD mode = 0;
    return output && GetConsoleMode(output, &mode);
}

void writeConsole(HANDLE output, const std::wstring& text) {
    DWORD written = 0;
    WriteConsoleW(output, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
}

// The text in place of the progress shown, with the cursor behind it.
void rewrite(HANDLE output, std::wstring_view text) {
    if (text.empty() && progressLength == 0) return;
    std::wstring line = L"\r" + std::wstring(progressLength, L' ') + L"\r";
    writeConsole(output, line.append(text));
    progressLength = text.size();
}

void write(HANDLE output, const std::wstring& text) {
    if (isConsole(output)) {
        rewrite(output, {});
        writeConsole(output, text);
        return;
    }
    const auto utf8 = win32::toUtf8(text);
    DWORD written = 0;
    WriteFile(output, utf8.data(), static_cast<DWORD>(utf8.size()), &written, nullptr);
}

// The line with its end; line ends within it as Windows text has them.
std::wstring asTextLines(std::wstring_view line) {
    std::wstring text;
    for (const wchar_t c : line) {
        if (c == L'\n') text += L'\r';
        text += c;
    }
    return text += L"\r\n";
}

} // namespace

bool hasConsoleWindow() { return GetConsoleWindow() != nullptr; }

void requireDesktop() {
    if (!hasVisibleDesktop()) throwNoDesktop();
}

void openConsole() {
    requireDesktop();
    if (hasConsoleWindow()) return;
    allocateConsole();
    prepareConsole();
}

void openInteractiveConsole() {
    requireDesktop();
    if (hasConsoleWindow()) return;
    try {
        allocateConsole();
    } catch (const win32::Win32Error&) {
        throwNoDesktop();
    }
    prepareConsole();
}

void openConsoleOnDemand() noexcept { opensOnDemand = isWatched = true; }

void setConsoleClosable(bool closable) noexcept {
    isClosable = closable;
    if (hasConsoleWindow()) showClosable();
}

void printLine(std::wstring_view line) noexcept {
    logEvent(LogLevel::Verbose, "PrintedLine", {{"Line", line}});
    try {
        lastWordKept() = win32::toUtf8(line);
        const std::scoped_lock lock(outputLock);
        if (const HANDLE output = outputForLine()) write(output, asTextLines(line));
    } catch (const std::exception&) {
        // No console, or out of memory: only the log has the line.
    }
}

bool showProgress(std::wstring_view text) noexcept {
    if (!isWatched) return false;
    try {
        const std::scoped_lock lock(outputLock);
        const HANDLE output = outputForLine();
        if (!isConsole(output)) return false;
        rewrite(output, text);
        return true;
    } catch (const std::exception&) {
        return false; // as above
    }
}

void noteUnprinted(std::string_view reason) noexcept {
    try {
        lastWordKept() = reason;
    } catch (const std::exception&) {
        // Out of memory: the line before it stays.
    }
}

const std::string& lastWord() noexcept { return lastWordKept(); }

void waitForEnter() noexcept {
    for (int c = std::getchar(); c != '\n' && c != EOF;)
        c = std::getchar();
}

bool askYesNo(std::wstring_view question) {
    const bool yes = MessageBoxW(nullptr, std::wstring(question).c_str(), caption, MB_YESNO) == IDYES;
    logEvent(LogLevel::Verbose, "Question", {{"Question", question}, {"Answer", yes ? "Yes" : "No"}});
    return yes;
}

} // namespace kelvane::bst
