// logman.exe, which Wine lacks: records its command line, keeps the endpoint's sessions (a file each, which names the
// trace file), leaves a trace file (log_size=BYTES: of that size), and fails where the test says so with
// logman=VERB:N:CODE (the Nth call of that verb, or * for each; CODE "hang" never ends, "+N" ends with N, both after
// the work is done).
#include "Script.h"

#include <shellapi.h>

#include <algorithm>
#include <cstdio>

using namespace host;

namespace {

long long earlierCalls(const std::wstring& verb) {
    const std::wstring mark = L"\"kind\":\"logman\",\"verb\":\"" + verb + L'"';
    const std::wstring record = readText(runFile(L"record.jsonl"));
    long long count = 0;
    for (auto at = record.find(mark); at != record.npos; at = record.find(mark, at + 1))
        ++count;
    return count;
}

std::wstring scriptedCode(const std::wstring& verb) {
    const long long call = earlierCalls(verb) + 1;
    for (const auto& line : scripted(L"logman")) {
        const auto rule = split(line, L':');
        if (rule.size() == 3 && rule[0] == verb && (rule[1] == L"*" || number(rule[1]) == call)) return rule[2];
    }
    return L"0";
}

bool createTrace(const std::wstring& path) {
    const HANDLE file = CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
    if (file == INVALID_HANDLE_VALUE) return false;
    constexpr std::string_view line = "test trace\n";
    std::string block(line);
    while (block.size() < 1 << 20)
        block += line;
    bool done = true;
    for (auto rest = static_cast<std::size_t>(number(scripted(L"log_size", L"11"))); done && rest != 0;) {
        const auto length = static_cast<DWORD>(std::min(rest, block.size()));
        DWORD written = 0;
        done = WriteFile(file, block.data(), length, &written, nullptr);
        rest -= written;
    }
    CloseHandle(file);
    return done;
}

bool createSession(const std::wstring& place, const std::wstring& trace) {
    if (!createTrace(trace)) return false;
    const HANDLE file = CreateFileW(place.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr);
    const std::string text(trace.begin(), trace.end());
    DWORD written = 0;
    const bool done = WriteFile(file, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
    CloseHandle(file);
    return done;
}

// [create|update] trace NAME ..., [update|stop] NAME ...
bool act(const std::wstring& verb, const std::vector<std::wstring>& arguments) {
    const std::wstring& name = arguments.at(2) == L"trace" ? arguments.at(3) : arguments.at(2);
    const std::wstring place = endpointFile(L"sessions\\" + name);
    const bool exists = GetFileAttributesW(place.c_str()) != INVALID_FILE_ATTRIBUTES;
    if (verb == L"stop") return DeleteFileW(place.c_str());
    if (verb != L"create") return exists;
    const auto output = std::ranges::find(arguments, L"-o");
    return !exists && output < arguments.end() - 1 && createSession(place, output[1]);
}

} // namespace

int wmain(int count, wchar_t** given) {
    const std::vector<std::wstring> arguments(given, given + count);
    const std::wstring verb = count > 1 ? arguments[1] : L"";
    const std::wstring code = scriptedCode(verb);
    Record("logman").add("verb", verb).add("command", GetCommandLineW()).add("code", code);
    const bool works = code == L"0" || code == L"hang" || code.starts_with(L"+");
    if (works && count > 3 && !act(verb, arguments)) return 1;
    if (code == L"hang") Sleep(INFINITE);
    if (code != L"0") return static_cast<int>(number(code));
    std::puts("The command completed successfully.");
    return 0;
}
