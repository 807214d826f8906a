#include "OstravelInstallerLib/InstallerProperty.h"

#include "libkelvane/ProxyUtilities.h"
#include "libwin32/Text.h"

#include <algorithm>
#include <cwctype>

// Matched by hand: std::wregex recurses once per character, and a command line of 32767 of them would exhaust the
// stack.

namespace kelvane::bst {
namespace {

// The value's own closing quote, which stands on the same line, ends it: A="x" B="y" gives A the value x.
std::optional<std::wstring> upToClosingQuote(std::wstring_view text) {
    const auto end = text.find_first_of(L"\"\r\n\u2028\u2029");
    if (end == std::wstring_view::npos || text[end] != L'"') return std::nullopt;
    return std::wstring(text.substr(0, end));
}

std::wstring upToWhiteSpace(std::wstring_view text) {
    return {text.begin(), std::ranges::find_if(text, [](wchar_t c) { return std::iswspace(c) != 0; })};
}

// Where the value ends that a text begins with. Its quotes may stand behind backslashes, in an argument that is quoted
// itself.
std::size_t endOfValue(std::wstring_view text) {
    const auto start = std::min(text.find_first_not_of(L"\\\""), text.size());
    const bool quoted = text.substr(0, start).find(L'"') != std::wstring_view::npos;
    return std::min(text.find_first_of(quoted ? L"\"" : L"\" \t\r\n", start), text.size());
}

} // namespace

std::optional<std::wstring> findInstallerProperty(std::wstring_view arguments, std::wstring_view name) {
    const auto assignment = std::wstring(name) + L'=';
    const auto quoted = assignment + L'"';
    for (auto at = arguments.find(quoted); at != std::wstring_view::npos; at = arguments.find(quoted, at + 1)) {
        if (auto value = upToClosingQuote(arguments.substr(at + quoted.size()))) return value;
    }
    const auto at = arguments.find(assignment);
    if (at == std::wstring_view::npos) return std::nullopt;
    return upToWhiteSpace(arguments.substr(at + assignment.size()));
}

std::wstring loggedCommandLine(std::wstring_view commandLine) {
    constexpr std::wstring_view assignment = L"SERVER_PROXY=";
    std::wstring logged;
    while (true) {
        const auto at = win32::findIgnoringAsciiCase(commandLine, assignment);
        if (at == std::wstring_view::npos) return logged.append(commandLine);
        const auto value = at + assignment.size();
        const auto end = value + endOfValue(commandLine.substr(value));
        logged.append(commandLine.substr(0, value));
        logged.append(ProxyUtilities::withoutUserPart(commandLine.substr(value, end - value)));
        commandLine.remove_prefix(end);
    }
}

} // namespace kelvane::bst
