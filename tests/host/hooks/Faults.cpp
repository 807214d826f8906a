// Failing calls: fail=FUNCTION:N:CODE[:TEXT], the Nth call (* for each), counted over the calls that have an argument
// that contains TEXT (for ReadFile and _read: the path of the file). With CODE "hang" it waits until the program calls
// its file operations back, with "crash" it is a fault of the processor, with "throw" an exception that nobody knows,
// with "kill" the process ends there. calls=yes records each call. pause=FUNCTION:N[:TEXT] holds that call until the
// test writes the file "go".
#include "hooks/Hooks.h"

#include <io.h>

#include <atomic>
#include <deque>

namespace host {
namespace {

struct Rule {
    std::wstring function;
    long long call; // 0: each
    long long code;
    std::wstring text;
    bool pause;
    std::wstring manner; // of a call that does not fail with a code
    std::atomic<long long> seen = 0;

    // A text may hold colons: it is what remains.
    Rule(const std::wstring& line, bool pauses) : pause(pauses) {
        const auto parts = split(line, L':');
        const std::size_t fixed = pauses ? 2 : 3;
        function = parts.at(0);
        call = parts.at(1) == L"*" ? 0 : number(parts.at(1));
        if (!pauses && iswalpha(parts.at(2)[0])) manner = parts.at(2);
        code = pauses || !manner.empty() ? ERROR_OPERATION_ABORTED : number(parts.at(2));
        for (std::size_t i = fixed; i < parts.size(); ++i)
            text += (i == fixed ? L"" : L":") + parts[i];
    }
};

std::deque<Rule>& rules() {
    static auto* all = [] {
        auto* result = new std::deque<Rule>;
        for (const auto& line : scripted(L"pause"))
            result->emplace_back(line, true);
        for (const auto& line : scripted(L"fail"))
            result->emplace_back(line, false);
        return result;
    }();
    return *all;
}

void waitForGo(const std::wstring& function) {
    Record("paused").add("call", function);
    while (GetFileAttributesW(runFile(L"go").c_str()) == INVALID_FILE_ATTRIBUTES)
        Sleep(10);
}

std::atomic<bool> calledBack = false;

BOOL WINAPI cancelSynchronousIo(HANDLE thread) {
    calledBack = true;
    return CancelSynchronousIo(thread);
}

// Where a call hangs the time limits of file operations come soon.
void WINAPI setTimer(PTP_TIMER timer, PFILETIME due, DWORD period, DWORD window) {
    const long long soon = -1'000'000;
    FILETIME scaled{static_cast<DWORD>(soon), static_cast<DWORD>(soon >> 32)};
    const bool hangs = std::ranges::any_of(rules(), [](const Rule& rule) { return rule.manner == L"hang"; });
    SetThreadpoolTimer(timer, due && hangs ? &scaled : due, period, window);
}

bool matches(Rule& rule, std::wstring_view function, std::initializer_list<std::wstring_view> texts) {
    if (rule.function != function) return false;
    const auto holds = [&](std::wstring_view text) { return text.find(rule.text) != text.npos; };
    if (!rule.text.empty() && std::ranges::none_of(texts, holds)) return false;
    const long long seen = ++rule.seen;
    return rule.call == 0 || rule.call == seen;
}

bool recordsCalls() {
    static const bool does = scripted(L"calls", L"no") == L"yes";
    return does;
}

void recordCall(const std::wstring& name, std::initializer_list<std::wstring_view> texts) {
    std::wstring text;
    for (const auto part : texts)
        text += part;
    Record("call").add("call", name).add("text", text);
}

} // namespace

std::optional<long long> injectedFault(std::string_view function, std::initializer_list<std::wstring_view> texts) {
    std::optional<long long> code;
    if (rules().empty() && !recordsCalls()) return code;
    const std::wstring name = fromUtf8(function);
    if (recordsCalls() && name != L"malloc") recordCall(name, texts);
    for (Rule& rule : rules()) {
        if (!matches(rule, name, texts)) continue;
        if (rule.pause) {
            waitForGo(name);
            continue;
        }
        while (rule.manner == L"hang" && !calledBack)
            Sleep(10);
        if (rule.manner == L"crash") RaiseException(static_cast<DWORD>(EXCEPTION_ACCESS_VIOLATION), 0, 0, nullptr);
        if (rule.manner == L"throw") throw 1;
        if (rule.manner == L"kill") {
            recordUnflushed();
            TerminateProcess(GetCurrentProcess(), 1);
        }
        code = rule.code;
    }
    if (code) Record("fault").add("call", name).add("code", *code);
    return code;
}

bool killsProgram() {
    return std::ranges::any_of(rules(), [](const Rule& rule) { return rule.manner == L"kill"; });
}

std::wstring_view pathForRules(std::string_view function, HANDLE file) {
    static thread_local std::wstring last;
    const std::wstring name = fromUtf8(function);
    if (std::ranges::none_of(rules(), [&](const Rule& rule) { return rule.function == name; })) return {};
    const DWORD lastError = GetLastError();
    const std::wstring path = pathOf(file);
    SetLastError(lastError);
    if (path.empty()) return {};
    return last = path;
}

const Registration hooks{REPLACE(CancelSynchronousIo, cancelSynchronousIo), REPLACE(SetThreadpoolTimer, setTimer)};

} // namespace host
