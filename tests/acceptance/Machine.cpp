#include "Acceptance.h"
#include "libkelvane/Utilities.h"
#include "libwin32/CommandLine.h"
#include "libwin32/Text.h"
#include "libwin32/Win32Error.h"

#include <algorithm>
#include <format>
#include <stdexcept>

namespace acceptance {
namespace {

constexpr DWORD patience = 600'000;

Path& launcher() {
    static Path path;
    return path;
}

int& lastNumber() {
    static int number = 0;
    return number;
}

Path runFolder(int number) { return std::format(L"C:\\test-host\\runs\\acceptance-{}", number); }

// What the launcher reads; returns its command line.
std::wstring throughLauncher(int number, const Path& program, const std::wstring& line) {
    files::createDirectories(runFolder(number));
    files::writeFile(runFolder(number) / L"command.txt", win32::toUtf8(program.native() + L'\n' + line));
    files::writeFile(runFolder(number) / L"script.txt", "time_scale=20");
    SetEnvironmentVariableW(L"OSTRAVEL_TEST_RUN", runFolder(number).c_str());
    return win32::quoteIfNeeded(launcher().native());
}

Path newestLog() {
    Path newest;
    for (const auto& folder : {baseFolder(), paths::windowsTemp()}) {
        if (!files::exists(folder)) continue;
        files::scanDirectory(folder, [&](const files::DirectoryEntry& entry) {
            if (entry.path.extension() == L".etl") newest = std::max(newest, entry.path);
        });
        if (!newest.empty()) break;
    }
    return newest;
}

// Copies of the log as it is and decoded, in results(). The text is ASCII, whatever the XML file is; where there is
// none it is the reason.
std::string decoded(int number, const Path& log) {
    if (!launcher().empty()) {
        files::copyFile(runFolder(number) / L"record.jsonl", results() / std::format(L"{:02}.jsonl", number));
        return files::readFile(runFolder(number) / L"record.jsonl");
    }
    if (log.empty()) return {};
    const auto copy = results() / std::format(L"{:02}.etl", number);
    const auto xml = results() / std::format(L"{:02}.xml", number);
    files::copyFile(log, copy);
    try {
        command(L"tracerpt.exe", std::format(L"{} -o {} -of XML -y", win32::quoteIfNeeded(copy.native()),
                                             win32::quoteIfNeeded(xml.native())));
        auto text = files::readFile(xml);
        std::erase(text, '\0');
        return text;
    } catch (const std::exception& error) {
        return error.what();
    }
}

// A line in runs.txt, and the file, inheritable, for what the run prints.
win32::UniqueHandle noteRun(int number, const std::wstring& line) {
    SECURITY_ATTRIBUTES inheritable{sizeof inheritable, nullptr, TRUE};
    win32::UniqueHandle file(CreateFileW((results() / L"runs.txt").c_str(), FILE_APPEND_DATA,
                                         FILE_SHARE_READ | FILE_SHARE_WRITE, &inheritable, OPEN_ALWAYS, 0, nullptr));
    const auto* test = testing::UnitTest::GetInstance()->current_test_info();
    const std::string text = std::format("\r\n{:02} {} {}\r\n", number, test ? test->name() : "", win32::toUtf8(line));
    DWORD written = 0;
    WriteFile(file.get(), text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
    return file;
}

} // namespace

bool onWine() {
    static const bool wine = GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr;
    return wine;
}

Path besideThis(const wchar_t* name) { return paths::ownExecutable().parent_path() / name; }
Path& results() {
    static Path folder = besideThis(L"results");
    return folder;
}
Path work() { return paths::windowsDirectory().root_path() / L"OstravelAcceptanceWork"; }
Path baseFolder() { return paths::programFiles() / L"OstravelInstaller"; }

Path installer() {
    const auto place = work() / L"Setup" / L"OstravelInstaller.exe";
    if (!files::exists(place)) {
        files::createDirectories(place.parent_path());
        files::copyFile(besideThis(L"OstravelInstaller.exe"), place);
    }
    return place;
}

void useLauncher(const Path& path) { launcher() = path; }

bool Run::says(const std::vector<std::string_view>& texts) const {
    std::size_t at = 0;
    for (const auto one : texts) {
        at = text.find(one, at);
        if (at == text.npos) return false;
        at += one.size();
    }
    return true;
}

Started::Started(const std::wstring& arguments, const Path& program, HANDLE job) : number_(++lastNumber()) {
    auto line = win32::quoteIfNeeded(program.native()) + L' ' + arguments;
    const auto printed = noteRun(number_, line);
    if (!launcher().empty()) line = throughLauncher(number_, program, line);
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = startup.hStdError = printed.get();
    PROCESS_INFORMATION child{};
    win32::check(CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE, CREATE_SUSPENDED, nullptr, nullptr,
                                &startup, &child),
                 "CreateProcess");
    process_.reset(child.hProcess);
    const win32::UniqueHandle thread(child.hThread);
    if (job) win32::check(AssignProcessToJobObject(job, child.hProcess), "AssignProcessToJobObject");
    ResumeThread(child.hThread);
}

Run Started::wait() {
    if (WaitForSingleObject(process_.get(), patience) != WAIT_OBJECT_0) {
        TerminateProcess(process_.get(), 1);
        throw std::runtime_error("The run did not end");
    }
    Run run;
    GetExitCodeProcess(process_.get(), &run.code);
    if (!launcher().empty()) run.code = std::stoul(files::readFile(runFolder(number_) / L"exit.txt"));
    run.log = newestLog();
    run.text = decoded(number_, run.log);
    return run;
}

void command(const wchar_t* program, const std::wstring& arguments) {
    const auto path = paths::systemDirectory() / program;
    const auto result = kelvane::execute(win32::quoteIfNeeded(path.native()) + L' ' + arguments,
                                         {.program = path, .creationFlags = CREATE_NO_WINDOW});
    if (result.exitCode != 0)
        throw std::runtime_error(std::format("{} {} ended with {}: {}{}", win32::toUtf8(program),
                                             win32::toUtf8(arguments), result.exitCode, result.output,
                                             result.errorOutput));
}

} // namespace acceptance
