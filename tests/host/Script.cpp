#include "Script.h"

#include <algorithm>
#include <map>
#include <mutex>

namespace host {
namespace {

// A program that runs may exit at any line: the lock is never destroyed.
std::mutex& lock() {
    static auto* mutex = new std::mutex;
    return *mutex;
}

const std::vector<std::pair<std::wstring, std::wstring>>& script() {
    static const auto* lines = [] {
        auto* result = new std::vector<std::pair<std::wstring, std::wstring>>;
        for (const auto& line : split(readText(runFile(L"script.txt")), L'\n')) {
            const auto equals = line.find(L'=');
            if (equals != line.npos) result->emplace_back(line.substr(0, equals), line.substr(equals + 1));
        }
        return result;
    }();
    return *lines;
}

void appendLine(const std::string& line) {
    const HANDLE file = CreateFileW(runFile(L"record.jsonl").c_str(), FILE_APPEND_DATA,
                                    FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_ALWAYS, 0, nullptr);
    DWORD written = 0;
    WriteFile(file, line.data(), static_cast<DWORD>(line.size()), &written, nullptr);
    CloseHandle(file);
}

double seconds() {
    LARGE_INTEGER count{};
    LARGE_INTEGER frequency{};
    QueryPerformanceCounter(&count);
    QueryPerformanceFrequency(&frequency);
    return static_cast<double>(count.QuadPart) / static_cast<double>(frequency.QuadPart);
}

} // namespace

std::wstring runFile(const wchar_t* name) {
    wchar_t folder[MAX_PATH]{};
    GetEnvironmentVariableW(L"OSTRAVEL_TEST_RUN", folder, MAX_PATH);
    return std::wstring(folder) + L'\\' + name;
}

std::wstring endpointFile(const std::wstring& name) {
    const std::wstring run = runFile(L"");
    return run.substr(0, run.rfind(L"\\runs\\") + 1) + name;
}

std::wstring readText(const std::wstring& path) {
    const HANDLE file =
        CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr);
    if (file == INVALID_HANDLE_VALUE) return {};
    std::string bytes(GetFileSize(file, nullptr), '\0');
    DWORD size = 0;
    ReadFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &size, nullptr);
    CloseHandle(file);
    return fromUtf8({bytes.data(), size});
}

std::vector<std::wstring> scripted(std::wstring_view key) {
    std::vector<std::wstring> values;
    for (const auto& [name, value] : script()) {
        if (name == key) values.push_back(value);
    }
    return values;
}

std::wstring scripted(std::wstring_view key, std::wstring_view otherwise) {
    const auto values = scripted(key);
    return values.empty() ? std::wstring(otherwise) : values.back();
}

std::wstring nextScripted(std::wstring_view key, std::wstring_view otherwise) {
    static auto* calls = new std::map<std::wstring, std::size_t, std::less<>>;
    const auto values = split(scripted(key, otherwise), L',');
    const std::scoped_lock guard(lock());
    return values[std::min((*calls)[std::wstring(key)]++, values.size() - 1)];
}

std::vector<std::wstring> split(std::wstring_view text, wchar_t separator) {
    std::vector<std::wstring> parts;
    for (std::size_t start = 0; start <= text.size();) {
        const auto end = std::min(text.find(separator, start), text.size());
        parts.emplace_back(text.substr(start, end - start));
        start = end + 1;
    }
    return parts;
}

long long number(std::wstring_view text) { return wcstoll(std::wstring(text).c_str(), nullptr, 0); }

std::wstring fromUtf8(std::string_view text) {
    const int size = MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), nullptr, 0);
    std::wstring result(static_cast<std::size_t>(size), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), result.data(), size);
    return result;
}

std::string jsonText(std::wstring_view text) {
    std::string result = "\"";
    for (const wchar_t unit : text) {
        if (unit >= 0x20 && unit < 0x7F && unit != L'"' && unit != L'\\') {
            result += static_cast<char>(unit);
        } else {
            char escaped[8];
            snprintf(escaped, sizeof escaped, "\\u%04x", static_cast<unsigned>(unit));
            result += escaped;
        }
    }
    return result + '"';
}

Record::Record(const char* kind) : line_("{\"kind\":") { line_ += jsonText(fromUtf8(kind)); }

// The program under test must find the last error as its own call left it.
Record::~Record() {
    const DWORD lastError = GetLastError();
    const std::scoped_lock guard(lock());
    addRaw("t", std::to_string(seconds()));
    appendLine(line_ + "}\n");
    SetLastError(lastError);
}

Record& Record::addRaw(const char* name, const std::string& json) {
    line_ += std::string(",\"") + name + "\":" + json;
    return *this;
}

} // namespace host
