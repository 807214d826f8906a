#include "libwin32/Text.h"

#include <windows.h>

#include <algorithm>
#include <stdexcept>

namespace win32 {
namespace {

wchar_t asciiLower(wchar_t c) { return c >= L'A' && c <= L'Z' ? static_cast<wchar_t>(c - L'A' + L'a') : c; }

std::wstring render(wchar_t conversion, const TextArgument& argument) {
    if (const auto* wide = std::get_if<std::wstring_view>(&argument); wide && conversion == L's') {
        return std::wstring(*wide);
    }
    if (const auto* narrow = std::get_if<std::string_view>(&argument); narrow && conversion == L'S') {
        return toWide(*narrow);
    }
    if (const auto* number = std::get_if<std::uint64_t>(&argument); number && conversion == L'u') {
        return std::to_wstring(*number);
    }
    if (const auto* number = std::get_if<std::int64_t>(&argument); number && conversion == L'd') {
        return std::to_wstring(*number);
    }
    throw std::logic_error("argument does not fit the text format");
}

} // namespace

std::wstring toWide(std::string_view utf8) {
    if (utf8.empty()) return {};
    const int size = static_cast<int>(utf8.size());
    const int length = MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, utf8.data(), size, nullptr, 0);
    std::wstring wide(static_cast<std::size_t>(length), L'\0');
    MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, utf8.data(), size, wide.data(), length);
    return wide;
}

std::string toUtf8(std::wstring_view wide) {
    if (wide.empty()) return {};
    const int size = static_cast<int>(wide.size());
    const int length = WideCharToMultiByte(CP_UTF8, 0, wide.data(), size, nullptr, 0, nullptr, nullptr);
    std::string utf8(static_cast<std::size_t>(length), '\0');
    WideCharToMultiByte(CP_UTF8, 0, wide.data(), size, utf8.data(), length, nullptr, nullptr);
    return utf8;
}

bool hasControlCharacter(std::string_view utf8) {
    return std::ranges::any_of(utf8, [](char c) { return (c >= '\0' && c < ' ') || c == '\x7F'; });
}

bool equalsIgnoringAsciiCase(std::wstring_view left, std::wstring_view right) {
    return std::ranges::equal(left, right, {}, asciiLower, asciiLower);
}

std::size_t findIgnoringAsciiCase(std::wstring_view text, std::wstring_view part) {
    const auto found = std::ranges::search(text, part, {}, asciiLower, asciiLower);
    if (found.empty() && !part.empty()) return std::wstring_view::npos;
    return static_cast<std::size_t>(found.begin() - text.begin());
}

std::wstring formatTextList(std::wstring_view format, std::initializer_list<TextArgument> arguments) {
    std::wstring text;
    auto argument = arguments.begin();
    for (std::size_t i = 0; i < format.size(); ++i) {
        if (format[i] != L'%') {
            text += format[i];
        } else if (++i < format.size() && format[i] == L'%') {
            text += L'%';
        } else {
            if (i >= format.size() || argument == arguments.end())
                throw std::logic_error("text format lacks arguments");
            text += render(format[i], *argument++);
        }
    }
    if (argument != arguments.end()) throw std::logic_error("text format has too many arguments");
    return text;
}

} // namespace win32
