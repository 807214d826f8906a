#pragma once

#include <windows.h>

#include <map>
#include <string>

// A task as it is kept: a flat JSON object in a file of its own.
namespace host {

// What a definition was told, by the names that the tests read; each value as JSON.
using Task = std::map<std::string, std::string>;

Task readTask(const std::wstring& file);
// Refuses what the task service does; `flags` as RegisterTaskDefinition takes them.
HRESULT storeTask(const std::wstring& path, Task& task, LONG flags);
// The text between the quotes of a JSON string.
std::wstring unquoted(const std::string& json);

bool exists(const std::wstring& path);
HRESULT lastError();

} // namespace host
