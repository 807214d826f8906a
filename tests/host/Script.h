#pragma once

#include <windows.h>

#include <string>
#include <string_view>
#include <vector>

// The folder of one run, named by an environment variable: what the test scripted, and what the run did.
namespace host {

// A file of the run's folder.
std::wstring runFile(const wchar_t* name);
// A file that all runs of the endpoint share.
std::wstring endpointFile(const std::wstring& name);
// Whole content as UTF-16; empty when there is no such file.
std::wstring readText(const std::wstring& path);

// script.txt holds lines key=value; a key may come several times.
std::vector<std::wstring> scripted(std::wstring_view key);
std::wstring scripted(std::wstring_view key, std::wstring_view otherwise);
// A comma list, one entry per call; the last one stays.
std::wstring nextScripted(std::wstring_view key, std::wstring_view otherwise);

std::vector<std::wstring> split(std::wstring_view text, wchar_t separator);
// Decimal, 0x..., or negative.
long long number(std::wstring_view text);

std::wstring fromUtf8(std::string_view text);
std::string jsonText(std::wstring_view text);

// One line of record.jsonl, written when the object goes, with the time: "t", seconds of a clock that never steps back.
class Record {
public:
    explicit Record(const char* kind);
    ~Record();
    Record& add(const char* name, const std::wstring& text) { return addRaw(name, jsonText(text)); }
    Record& add(const char* name, const wchar_t* text) { return addRaw(name, text ? jsonText(text) : "null"); }
    Record& add(const char* name, long long value) { return addRaw(name, std::to_string(value)); }
    Record& addRaw(const char* name, const std::string& json);

private:
    std::string line_;
};

} // namespace host
