#include "libkelvane/ZipFile.h"

#include "libwin32/Text.h"

#include <algorithm>
#include <string>

namespace kelvane {
namespace {

constexpr std::wstring_view deviceNames[] = {L"CON", L"PRN", L"AUX", L"NUL", L"CONIN$", L"CONOUT$"};
// COM1 to COM9 and LPT1 to LPT9; Windows takes the superscript digits for digits as well.
constexpr std::wstring_view numberedDevices[] = {L"COM", L"LPT"};
constexpr std::wstring_view deviceNumbers = L"0123456789\u00b9\u00b2\u00b3";

bool isDeviceName(std::wstring_view component) {
    auto base = component.substr(0, component.find(L'.'));
    base = base.substr(0, base.find_last_not_of(L' ') + 1);
    const auto isBase = [&](std::wstring_view name) { return win32::equalsIgnoringAsciiCase(base, name); };
    if (std::ranges::any_of(deviceNames, isBase)) return true;
    if (base.size() != 4 || deviceNumbers.find(base.back()) == std::wstring_view::npos) return false;
    base.remove_suffix(1);
    return std::ranges::any_of(numberedDevices, isBase);
}

bool isSafeComponent(std::wstring_view component) {
    constexpr std::wstring_view forbidden = L":*?\"<>|";
    // Windows drops final dots and blanks, which also covers "." and "..".
    return !component.empty() && component.back() != L'.' && component.back() != L' ' &&
           std::ranges::all_of(component, [](wchar_t c) { return c >= L' '; }) &&
           component.find_first_of(forbidden) == std::wstring_view::npos && !isDeviceName(component);
}

} // namespace

bool isSafeEntryName(std::wstring_view name) {
    constexpr std::wstring_view separators = L"/\\";
    if (name.size() > 1 && separators.find(name.back()) != std::wstring_view::npos) name.remove_suffix(1);
    while (true) {
        const auto end = name.find_first_of(separators);
        if (!isSafeComponent(name.substr(0, end))) return false;
        if (end == std::wstring_view::npos) return true;
        name.remove_prefix(end + 1);
    }
}

} // namespace kelvane
