#include "OstravelInstallerLib/InstallerProperty.h"

#include <algorithm>
#include <cwctype>

// Both expressions are matched by hand: std::wregex recurses once per character, and a command line of 32767 of them
// would exhaust the stack.

namespace kelvane::bst {
namespace {

// (.*)" as a regular expression takes it: up to the last quote on the line, so A="x" B="y" gives A the value x" B="y.
std::optional<std::wstring> upToLastQuote(std::wstring_view text) {
    const auto line = text.substr(0, text.find_first_of(L"\r\n\u2028\u2029"));
    const auto quote = line.rfind(L'"');
    if (quote == std::wstring_view::npos) return std::nullopt;
    return std::wstring(line.substr(0, quote));
}

std::wstring upToWhiteSpace(std::wstring_view text) {
    return {text.begin(), std::ranges::find_if(text, [](wchar_t c) { return std::iswspace(c) != 0; })};
}

} // namespace

std::optional<std::wstring> findInstallerProperty(std::wstring_view arguments, std::wstring_view name) {
    const auto assignment = std::wstring(name) + L'=';
    const auto quoted = assignment + L'"';
    for (auto at = arguments.find(quoted); at != std::wstring_view::npos; at = arguments.find(quoted, at + 1)) {
        if (auto value = upToLastQuote(arguments.substr(at + quoted.size()))) return value;
    }
    const auto at = arguments.find(assignment);
    if (at == std::wstring_view::npos) return std::nullopt;
    return upToWhiteSpace(arguments.substr(at + assignment.size()));
}

} // namespace kelvane::bst
