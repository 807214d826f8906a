#include "hooks/TaskFiles.h"

#include "Script.h"

#include <taskschd.h>

namespace host {

bool exists(const std::wstring& path) { return GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES; }

HRESULT lastError() { return HRESULT_FROM_WIN32(GetLastError()); }

std::wstring unquoted(const std::string& json) {
    std::wstring result;
    const std::wstring inner = fromUtf8(std::string_view(json).substr(1, json.size() - 2));
    for (std::size_t at = 0; at < inner.size(); ++at) {
        if (inner[at] != L'\\') {
            result += inner[at];
        } else if (inner[++at] == L'u') {
            result += static_cast<wchar_t>(number(L"0x" + inner.substr(at + 1, 4)));
            at += 4;
        } else {
            result += inner[at];
        }
    }
    return result;
}

// A flat object in ASCII: names, and what stands for each value.
Task readTask(const std::wstring& file) {
    std::string json;
    for (const wchar_t unit : readText(file))
        json += static_cast<char>(unit);
    Task task;
    const auto stringEnd = [&](std::size_t at) {
        for (++at; json.at(at) != '"'; ++at)
            at += json[at] == '\\';
        return at + 1;
    };
    for (auto at = json.find('"'); at != json.npos; at = json.find('"', at)) {
        const auto nameEnd = stringEnd(at);
        const auto value = json.find_first_not_of(": ", nameEnd);
        const auto end = json[value] == '"' ? stringEnd(value) : json.find_first_of(",}", value);
        task[json.substr(at + 1, nameEnd - at - 2)] = json.substr(value, end - value);
        at = end;
    }
    return task;
}

HRESULT storeTask(const std::wstring& path, Task& task, LONG flags) {
    if ((flags & TASK_CREATE_OR_UPDATE) == 0 || !task.contains("Path") || task["Path"] == "\"\"") return E_INVALIDARG;
    if ((flags & TASK_UPDATE) == 0 && exists(path)) return HRESULT_FROM_WIN32(ERROR_ALREADY_EXISTS);
    std::string json;
    for (const auto& [name, value] : task)
        json += (json.empty() ? "{\"" : ",\"") + name + "\":" + value;
    json += "}\n";
    const HANDLE file = CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
    if (file == INVALID_HANDLE_VALUE) return lastError();
    DWORD written = 0;
    WriteFile(file, json.data(), static_cast<DWORD>(json.size()), &written, nullptr);
    CloseHandle(file);
    return S_OK;
}

} // namespace host
