#pragma once

#include "libwin32/Handles.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// Starting the installer on this machine, and reading back what it did.
namespace acceptance {

bool onWine();

// The first line of every item: the question that it settles, for the table and the XML file.
inline void settles(const char* question) { testing::Test::RecordProperty("settles", question); }
// The second line of an item that cannot be tried under Wine.
#define NEEDS_WINDOWS(reason)                                                                                          \
    if (acceptance::onWine()) GTEST_SKIP() << "Wine " reason

std::filesystem::path besideThis(const std::wstring& name); // what the archive holds
std::filesystem::path results();                            // what is sent back
std::filesystem::path work();                               // a folder in which everybody may create names
std::filesystem::path baseFolder();                         // where the installer works
std::filesystem::path installer();                          // a copy in work()\Setup

// A program that takes command lines from files, as tests/host/Launcher.cpp does, starts all runs.
void useLauncher(const std::filesystem::path& launcher);

struct StartOptions {
    std::filesystem::path program = installer();
    std::vector<std::pair<std::wstring, std::wstring>> environment{};
    HANDLE job = nullptr;
};

// An ended run: its result and its log, both also in results().
struct Run {
    DWORD code = 0;
    std::filesystem::path log{}; // as the installer wrote it; empty when there is none
    std::string text{};          // decoded

    // Whether these texts stand in the decoded log in this order.
    bool says(std::initializer_list<std::string_view> texts) const;
};

class Started {
public:
    // `arguments` as they follow the program's name. Inheritable handles are inherited.
    explicit Started(const std::wstring& arguments, const StartOptions& options = {});
    // Throws std::runtime_error after ten minutes.
    Run wait();

private:
    int number_;
    win32::UniqueHandle process_;
};

inline Run run(const std::wstring& arguments, const StartOptions& options = {}) {
    return Started(arguments, options).wait();
}

// Runs a program of the system directory to its end; throws std::runtime_error with what it printed unless it ends
// with 0.
std::string command(const std::wstring& program, const std::wstring& arguments);

bool comesTrue(const auto& condition, std::chrono::seconds limit) {
    for (const auto end = std::chrono::steady_clock::now() + limit; !condition();) {
        if (std::chrono::steady_clock::now() > end) return false;
        Sleep(50);
    }
    return true;
}

inline constexpr const wchar_t* carriedVersion = L"23.3.3.264"; // of the agent in the installer
inline constexpr const wchar_t* earlierVersion = L"23.2.1.10";

// The sample agent as an earlier roll-out would have left it; it reports to this program.
void installEarlierAgent();
// Versions of the installed agents, separated by blanks.
std::wstring installedAgents();
// What the sample package was given; empty when it was not.
std::wstring packageProperty(const wchar_t* name);
// The text in a file of %WINDIR%\Temp; empty when there is none.
std::string resultFile(const wchar_t* name = L"SC-exit-code.txt");
bool continuationRegistered();
// Removes all that runs, items and the sample agent leave.
void putBack();

// Every item begins on a machine without an agent.
struct Item : testing::Test {
    Item() { putBack(); }
};

} // namespace acceptance
