#include "Machine.h"

#include "Server.h"
#include "SharedLib/InstallationUtils.h"
#include "libkelvane/FileUtilities.h"
#include "libkelvane/PathUtils.h"
#include "libkelvane/RegKey.h"
#include "libkelvane/Utilities.h"
#include "libwin32/ComPtr.h"
#include "libwin32/CommandLine.h"
#include "libwin32/TaskScheduler.h"
#include "libwin32/Text.h"
#include "libwin32/TraceSessions.h"
#include "libwin32/Win32Error.h"

#include <algorithm>
#include <format>
#include <stdexcept>

namespace files = kelvane::FileUtilities;
namespace paths = kelvane::PathUtils;

namespace acceptance {
namespace {

constexpr DWORD patience = 600'000;
const std::filesystem::path hostFolder = L"C:\\test-host"; // of the launcher

std::filesystem::path& launcher() {
    static std::filesystem::path path;
    return path;
}

int& lastNumber() {
    static int number = 0;
    return number;
}

std::filesystem::path runFolder(int number) { return hostFolder / L"runs" / std::to_wstring(number); }

// What the launcher reads; returns its command line.
std::wstring throughLauncher(int number, const std::filesystem::path& program, const std::wstring& line) {
    files::createDirectories(runFolder(number));
    files::writeFile(runFolder(number) / L"command.txt", win32::toUtf8(program.native() + L'\n' + line));
    files::writeFile(runFolder(number) / L"script.txt", "time_scale=20");
    SetEnvironmentVariableW(L"OSTRAVEL_TEST_RUN", runFolder(number).c_str());
    return win32::quoteIfNeeded(launcher().native());
}

// Variables of this process, and so of those that it starts, as long as the object lives.
class Environment {
public:
    explicit Environment(const std::vector<std::pair<std::wstring, std::wstring>>& variables) {
        for (const auto& [name, value] : variables) {
            wchar_t before[4096]{};
            GetEnvironmentVariableW(name.c_str(), before, 4096);
            before_.emplace_back(name, before);
            SetEnvironmentVariableW(name.c_str(), value.c_str());
        }
    }
    ~Environment() {
        for (const auto& [name, value] : before_)
            SetEnvironmentVariableW(name.c_str(), value.empty() ? nullptr : value.c_str());
    }
    Environment(const Environment&) = delete;
    Environment& operator=(const Environment&) = delete;

private:
    std::vector<std::pair<std::wstring, std::wstring>> before_;
};

std::filesystem::path newestLog() {
    std::filesystem::path newest;
    for (const auto& folder : {baseFolder(), paths::windowsTemp()}) {
        if (!files::exists(folder)) continue;
        files::scanDirectory(folder, [&](const files::DirectoryEntry& entry) {
            if (entry.path.extension() == L".etl") newest = std::max(newest, entry.path);
        });
        if (!newest.empty()) break;
    }
    return newest;
}

// Copies of the log as it is and decoded, in results(). The text holds the XML file's UTF-16 as ASCII, where it is
// that.
std::string decoded(int number, const std::filesystem::path& log) {
    if (!launcher().empty()) {
        files::copyFile(runFolder(number) / L"record.jsonl", results() / std::format(L"{:02}.jsonl", number));
        return files::readFile(runFolder(number) / L"record.jsonl");
    }
    if (log.empty()) return {};
    const auto copy = results() / std::format(L"{:02}.etl", number);
    const auto xml = results() / std::format(L"{:02}.xml", number);
    files::copyFile(log, copy);
    command(L"tracerpt.exe", std::format(L"{} -o {} -of XML -y", win32::quoteIfNeeded(copy.native()),
                                         win32::quoteIfNeeded(xml.native())));
    auto text = files::readFile(xml);
    std::erase(text, '\0');
    return text;
}

void noteRun(int number, const std::wstring& line) {
    const win32::UniqueHandle file(CreateFileW((results() / L"runs.txt").c_str(), FILE_APPEND_DATA, FILE_SHARE_READ,
                                               nullptr, OPEN_ALWAYS, 0, nullptr));
    const auto* test = testing::UnitTest::GetInstance()->current_test_info();
    const std::string text = std::format("{:02} {} {}\r\n", number, test ? test->name() : "", win32::toUtf8(line));
    DWORD written = 0;
    WriteFile(file.get(), text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
}

template <class Action>
void quietly(Action action) noexcept {
    try {
        action();
    } catch (const std::exception&) {
        // what is left over is found by the next look
    }
}

void removeTasks() {
    const win32::ComInitializer com;
    const win32::TaskScheduler scheduler;
    for (const wchar_t* name : {L"OstravelInstaller", L"Acceptance"})
        scheduler.remove(L"Ostravel", name);
}

} // namespace

bool onWine() {
    static const bool wine = GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr;
    return wine;
}

std::filesystem::path besideThis(const std::wstring& name) { return paths::ownExecutable().parent_path() / name; }
std::filesystem::path results() { return besideThis(L"results"); }
std::filesystem::path work() { return paths::windowsDirectory().root_path() / L"OstravelAcceptanceWork"; }
std::filesystem::path baseFolder() { return paths::programFiles() / L"OstravelInstaller"; }

std::filesystem::path installer() {
    const auto place = work() / L"Setup" / L"OstravelInstaller.exe";
    if (!files::exists(place)) {
        files::createDirectories(place.parent_path());
        files::copyFile(besideThis(L"OstravelInstaller.exe"), place);
    }
    return place;
}

void useLauncher(const std::filesystem::path& path) { launcher() = path; }

bool Run::says(std::initializer_list<std::string_view> texts) const {
    std::size_t at = 0;
    for (const auto one : texts) {
        at = text.find(one, at);
        if (at == text.npos) return false;
        at += one.size();
    }
    return true;
}

Started::Started(const std::wstring& arguments, const StartOptions& options) : number_(++lastNumber()) {
    auto line = win32::quoteIfNeeded(options.program.native()) + L' ' + arguments;
    noteRun(number_, line);
    if (!launcher().empty()) line = throughLauncher(number_, options.program, line);
    const Environment environment(options.environment);
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION child{};
    win32::check(CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE, CREATE_SUSPENDED, nullptr, nullptr,
                                &startup, &child),
                 "CreateProcess");
    process_.reset(child.hProcess);
    const win32::UniqueHandle thread(child.hThread);
    if (options.job) win32::check(AssignProcessToJobObject(options.job, child.hProcess), "AssignProcessToJobObject");
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

std::string command(const std::wstring& program, const std::wstring& arguments) {
    const auto path = paths::systemDirectory() / program;
    const auto result = kelvane::execute(win32::quoteIfNeeded(path.native()) + L' ' + arguments,
                                         {.program = path, .creationFlags = CREATE_NO_WINDOW});
    if (result.exitCode == 0) return result.output;
    throw std::runtime_error(std::format("{} {} ended with {}: {}{}", win32::toUtf8(program), win32::toUtf8(arguments),
                                         result.exitCode, result.output, result.errorOutput));
}

void installEarlierAgent() {
    const auto package = besideThis(std::wstring(earlierVersion) + L".msi");
    command(L"msiexec.exe", L"/qn /i " + win32::quoteIfNeeded(package.native()));
    const auto site = win32::toUtf8(tokenOption().substr(3));
    files::writeFile(paths::programFiles() / L"Ostravel" / (L"Kelvane Agent " + std::wstring(earlierVersion)) /
                         L"config" / L"UserConfig.json",
                     R"({"mgmtServer":"","site":"acceptance","site_key":")" + site + R"(","proxy":""})");
}

std::wstring installedAgents() {
    std::wstring versions;
    for (const auto& product : kelvane::relatedProducts()) {
        const auto version = kelvane::productVersion(product);
        versions += (versions.empty() ? L"" : L" ") + (version ? version->str() : L"unknown");
    }
    return versions;
}

std::wstring packageProperty(const wchar_t* name) {
    const kelvane::RegKey key(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Ostravel\\SampleProperties");
    return key.exists() && key.valueExists(name) ? key.readString(name) : L"";
}

std::string resultFile(const wchar_t* name) {
    const auto place = paths::windowsTemp() / name;
    return files::exists(place) ? files::readFile(place) : std::string();
}

bool continuationRegistered() {
    // The launcher keeps tasks as files.
    if (!launcher().empty()) return files::exists(hostFolder / L"tasks\\Ostravel\\OstravelInstaller.json");
    const win32::ComInitializer com;
    return win32::TaskScheduler().find(L"Ostravel", L"OstravelInstaller").has_value();
}

void putBack() {
    for (const auto& trace : onWine() ? std::vector<win32::RunningTrace>() : win32::runningTraces()) {
        if (trace.name.starts_with(L"Ostravel"))
            quietly([&] { command(L"logman.exe", L"stop " + trace.name + L" -ets"); });
    }
    quietly(removeTasks);
    for (const auto& product : kelvane::relatedProducts())
        quietly([&] { command(L"msiexec.exe", L"/qn /x " + product); });
    for (const auto& folder :
         {baseFolder(), paths::programFiles() / L"Ostravel", work(), hostFolder / L"tasks\\Ostravel"})
        files::deleteDirectoryNoThrow(folder);
    for (const wchar_t* name : {L"KelvaneConfig", L"SC-exit-code.txt", L"SC-after-reboot-exit-code.txt", L"cleaner.log",
                                L"cleaner.script", L"KelvaneDiagnostics.txt"})
        files::deleteDirectoryNoThrow(paths::windowsTemp() / name);
    RegDeleteTreeW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Ostravel");
}

} // namespace acceptance
