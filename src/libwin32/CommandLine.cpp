#include "libwin32/CommandLine.h"

#include <stdexcept>

namespace win32 {

std::wstring escapeQuoted(std::wstring_view value) {
    std::wstring text;
    std::size_t backslashes = 0;
    for (const wchar_t c : value) {
        if (c == L'"') text.append(backslashes + 1, L'\\');
        backslashes = c == L'\\' ? backslashes + 1 : 0;
        text += c;
    }
    // Those at the end stand before the closing quote.
    return text.append(backslashes, L'\\');
}

std::wstring quoteIfNeeded(std::wstring_view value) {
    if (!value.empty() && value.find_first_of(L" \t\"") == std::wstring_view::npos) return std::wstring(value);
    return L'"' + escapeQuoted(value) + L'"';
}

void checkCommandLine(std::wstring_view commandLine) {
    constexpr std::size_t longest = 32767 - 1; // and the terminator
    if (commandLine.size() > longest) throw std::runtime_error("A command line is longer than Windows takes");
}

} // namespace win32
