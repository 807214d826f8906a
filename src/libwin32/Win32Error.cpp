#include "libwin32/Win32Error.h"

#include "libwin32/Handles.h"
#include "libwin32/Text.h"

#include <atomic>
#include <format>

namespace win32 {
namespace {

std::atomic<FailureHook> failureHook{nullptr};

std::string_view lastComponent(std::string_view path) { return path.substr(path.find_last_of("/\\") + 1); }

// "src/libkelvane/RegKey.cpp" -> "libkelvane\RegKey"
std::string unitOf(std::string_view file) {
    constexpr std::string_view sources = "src/";
    if (file.starts_with(sources)) file.remove_prefix(sources.size());
    const auto dot = file.rfind('.');
    std::string unit(file.substr(0, dot));
    for (char& c : unit) {
        if (c == '/') c = '\\';
    }
    return unit;
}

// "void kelvane::RegKey::create(int)::<lambda()>" -> "create"
std::string functionOf(std::string_view signature) {
    const auto parenthesis = signature.find('(');
    auto name = signature.substr(0, parenthesis);
    const auto start = name.find_last_of(": *&");
    if (start != std::string_view::npos) name.remove_prefix(start + 1);
    return std::string(name);
}

template <class Error>
[[noreturn]] void raise(std::string_view call, std::uint32_t code, const std::source_location& place) {
    const Error error(call, code, place);
    if (const auto hook = failureHook.load()) hook(error);
    throw error;
}

} // namespace

ErrorLocation::ErrorLocation(const std::source_location& place)
    : file(lastComponent(place.file_name())), unit(unitOf(place.file_name())),
      function(functionOf(place.function_name())), line(place.line()) {}

Win32Error::Win32Error(std::string_view call, std::uint32_t code, const ErrorLocation& location)
    : std::runtime_error(
          std::format("{}: error {}: {} [{} {}]", call, code, systemErrorText(code), location.unit, location.function)),
      call_(call), code_(code), location_(location) {}

void setFailureHook(FailureHook hook) { failureHook = hook; }

void throwWin32(std::string_view call, std::uint32_t code, std::source_location place) {
    raise<Win32Error>(call, code, place);
}

void throwNotFound(std::string_view call, std::uint32_t code, std::source_location place) {
    raise<NotFoundError>(call, code, place);
}

void throwLastError(std::string_view call, std::source_location place) {
    const DWORD code = GetLastError();
    raise<Win32Error>(call, code, place);
}

void throwWmiError(std::string_view call, long hresult, std::source_location place) {
    raise<WMIError>(call, static_cast<std::uint32_t>(hresult), place);
}

std::string systemErrorText(std::uint32_t code) {
    UniqueLocal<wchar_t> text;
    const DWORD length =
        FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
                       nullptr, code, 0, reinterpret_cast<wchar_t*>(text.put()), 0, nullptr);
    std::wstring_view view(text.get() ? text.get() : L"", length);
    while (!view.empty() && (view.back() == L'\n' || view.back() == L'\r' || view.back() == L' '))
        view.remove_suffix(1);
    return view.empty() ? "unknown error" : toUtf8(view);
}

} // namespace win32
