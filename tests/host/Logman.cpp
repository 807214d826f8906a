// logman.exe, which Wine lacks: records its command line, leaves a trace file (log_size=BYTES: of that size), and fails
// where the test says so with logman=VERB:N:CODE (the Nth call of that verb, or * for each; CODE "hang" never ends).
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

} // namespace

int wmain(int count, wchar_t** arguments) {
    const std::wstring verb = count > 1 ? arguments[1] : L"";
    const std::wstring code = scriptedCode(verb);
    Record("logman").add("verb", verb).add("command", GetCommandLineW()).add("code", code);
    if (code == L"hang") Sleep(INFINITE);
    if (code != L"0") return static_cast<int>(number(code));
    for (int i = 2; i + 1 < count; ++i) {
        if (std::wstring_view(arguments[i]) == L"-o" && !createTrace(arguments[i + 1])) return 1;
    }
    std::puts("The command completed successfully.");
    return 0;
}
