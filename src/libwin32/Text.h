#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <variant>

namespace win32 {

// UTF-8 to UTF-16 and back. Text that is not valid gives an empty string.
std::wstring toWide(std::string_view utf8);
std::string toUtf8(std::wstring_view wide);

// Whether the text (UTF-8) holds a control character: one below U+0020, or U+007F.
bool hasControlCharacter(std::string_view utf8);

// ASCII letters compared without regard to case; everything else must be equal.
bool equalsIgnoringAsciiCase(std::wstring_view left, std::wstring_view right);
// Where the part stands first in the text, compared in that way; npos when it does not.
std::size_t findIgnoringAsciiCase(std::wstring_view text, std::wstring_view part);

using TextArgument = std::variant<std::wstring_view, std::string_view, std::uint64_t, std::int64_t>;

// The printf forms that this program's texts use, without printf's lack of types: %s takes a wide string, %S a UTF-8
// string, %u an unsigned and %d a signed number; %% is a percent sign. Throws std::logic_error when the arguments do
// not fit the format.
std::wstring formatTextList(std::wstring_view format, std::initializer_list<TextArgument> arguments);

namespace details {
inline TextArgument textArgument(const std::wstring& text) { return std::wstring_view(text); }
inline TextArgument textArgument(std::wstring_view text) { return text; }
inline TextArgument textArgument(const wchar_t* text) { return std::wstring_view(text); }
inline TextArgument textArgument(const std::string& text) { return std::string_view(text); }
inline TextArgument textArgument(std::string_view text) { return text; }
inline TextArgument textArgument(const char* text) { return std::string_view(text); }
inline TextArgument textArgument(std::uint64_t number) { return number; }
inline TextArgument textArgument(std::uint32_t number) { return std::uint64_t{number}; }
inline TextArgument textArgument(unsigned long number) { return std::uint64_t{number}; }
inline TextArgument textArgument(std::uint16_t number) { return std::uint64_t{number}; }
inline TextArgument textArgument(int number) { return std::int64_t{number}; }
inline TextArgument textArgument(long number) { return std::int64_t{number}; }
inline TextArgument textArgument(std::int64_t number) { return number; }
} // namespace details

template <class... Arguments>
std::wstring formatText(std::wstring_view format, const Arguments&... arguments) {
    return formatTextList(format, {details::textArgument(arguments)...});
}

} // namespace win32
