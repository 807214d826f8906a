#pragma once

#include "Script.h"

#include <io.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <optional>
#include <string_view>
#include <type_traits>
#include <utility>

// How a function of the system is put before its caller: counted, made to fail where the test says so, then passed on
// to a replacement or to the system's own function.
namespace host {

struct Hook {
    const char* name;
    void* entry;
    void** real;
    bool replaced;
};

// Each unit puts its hooks into the one table before the program's imports are patched.
std::vector<Hook>& hookTable();
struct Registration {
    Registration(std::initializer_list<Hook> hooks) { hookTable().insert(hookTable().end(), hooks); }
};

// The code with which this call is to fail. Counts the call; holds it where the test scripted a pause.
std::optional<long long> injectedFault(std::string_view function, std::initializer_list<std::wstring_view> texts);

// Whether the test ends the program at some call.
bool killsProgram();
// Records what has been written and not flushed.
void recordUnflushed();

// The path of an open file; empty for what is none.
std::wstring pathOf(HANDLE file);
// The same where there are rules about this function, else empty. Good until the thread asks for another file.
std::wstring_view pathForRules(std::string_view function, HANDLE file);

// Ctrl+C and Ctrl+Break, as typed into the program's console: whoever does not handle them ends.
void interruptProgram();

// Owner, entries and label of what is about to be created, as text; empty when the caller gives none.
std::wstring sddl(const SECURITY_ATTRIBUTES* attributes);

template <std::size_t N>
struct Name {
    char text[N]{};
    constexpr Name(const char (&literal)[N]) { std::copy_n(literal, N, text); }
    constexpr bool operator==(std::string_view other) const { return std::string_view(text) == other; }
};

// Text of an argument, for rules that concern one path only.
template <Name function, class T>
std::wstring_view textOf(T value) {
    if constexpr (function == "ReadFile" && std::is_same_v<T, HANDLE>) {
        return pathForRules(function.text, value);
    } else if constexpr (function == "_read" && std::is_same_v<T, int>) {
        return pathForRules(function.text, reinterpret_cast<HANDLE>(_get_osfhandle(value)));
    } else if constexpr (std::is_same_v<T, LPCWSTR> || (std::is_same_v<T, LPWSTR> && function == "CreateProcessW")) {
        return value && !IS_INTRESOURCE(value) ? std::wstring_view(value) : std::wstring_view();
    } else {
        return {};
    }
}

// Functions that return a length or a count, and 0 when they fail.
constexpr bool failsWithZero(std::string_view function) {
    constexpr std::string_view all[] = {
        "ExpandEnvironmentStringsW",  "FormatMessageW",   "GetFileVersionInfoSizeW", "GetFinalPathNameByHandleW",
        "GetFullPathNameW",           "GetLongPathNameW", "GetModuleFileNameW",      "GetSystemDirectoryW",
        "GetSystemWindowsDirectoryW", "QueryDosDeviceW",  "RegisterClassW"};
    return std::ranges::find(all, function) != std::end(all);
}

// What a failing call returns; other functions that return a number return the scripted code.
template <Name function, class R>
R failed(long long code) {
    SetLastError(static_cast<DWORD>(code));
    if constexpr (function == "_read") {
        errno = EIO;
        return -1;
    } else if constexpr (std::is_same_v<R, BOOL>) {
        return FALSE;
    } else if constexpr (std::is_pointer_v<R>) {
        constexpr bool invalidHandle = function == "CreateFileW" || function == "CreateNamedPipeW" ||
                                       function == "FindFirstFileW" || function == "FindFirstFileExW";
        return invalidHandle ? reinterpret_cast<R>(INVALID_HANDLE_VALUE) : nullptr;
    } else if constexpr (failsWithZero(function.text)) {
        return R{};
    } else if constexpr (function == "WaitForSingleObject" || function == "WaitForMultipleObjects" ||
                         function == "GetFileAttributesW" || function == "ResumeThread") {
        return static_cast<R>(-1);
    } else if constexpr (!std::is_void_v<R>) {
        return static_cast<R>(code);
    }
}

template <Name function, class F>
struct Interceptor;

template <Name function, class R, class... A>
struct Interceptor<function, R(WINAPI*)(A...)> {
    static inline R(WINAPI* real)(A...) = nullptr;
    static inline R(WINAPI* ours)(A...) = nullptr;

    static R WINAPI call(A... arguments) {
        if (const auto code = injectedFault(function.text, {textOf<function>(arguments)...})) {
            return failed<function, R>(*code);
        }
        return (ours ? ours : real)(arguments...);
    }
};

template <Name function, class F>
Hook hook(std::type_identity_t<F> ours = nullptr) {
    using Entry = Interceptor<function, F>;
    Entry::ours = ours;
    static const auto name = function;
    return {name.text, reinterpret_cast<void*>(&Entry::call), reinterpret_cast<void**>(&Entry::real), ours != nullptr};
}

} // namespace host

// The system's function, only counted and made to fail; one of ours in its place; one that the system may lack.
#define PASS(function) host::hook<#function, decltype(&::function)>()
#define REPLACE(function, ours) host::hook<#function, decltype(&::function)>(ours)
#define PROVIDE(function, ours) host::hook<#function, decltype(&ours)>(ours)
#define REAL(function) host::Interceptor<#function, decltype(&::function)>::real
