#pragma once

#include "libkelvane/FileUtilities.h"
#include "libkelvane/PathUtils.h"
#include "libwin32/Handles.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

// Starting the installer on this machine, and reading back what it did.
namespace acceptance {

namespace files = kelvane::FileUtilities;
namespace paths = kelvane::PathUtils;
using Path = std::filesystem::path;

bool onWine();
// The first line of every item: the question that it settles, for the table and the XML file.
inline void settles(const char* question) { testing::Test::RecordProperty("settles", question); }
#define NEEDS_WINDOWS(reason)                                                                                          \
    if (acceptance::onWine()) GTEST_SKIP() << "Wine " reason

// Every item begins on a machine without an agent, and with no reports received.
struct Item : testing::Test {
    Item();
};
template <class Case>
struct ItemOf : Item, testing::WithParamInterface<Case> {};
// The items of a suite, one for each row of a table; a row's first member is its name.
#define ITEMS(Suite, ...)                                                                                              \
    INSTANTIATE_TEST_SUITE_P(, Suite, testing::Values(__VA_ARGS__), [](const auto& info) { return info.param.name; })

// Machine.cpp: places and runs.
Path besideThis(const wchar_t* name); // what the archive holds
Path& results();                      // what is sent back
Path work();                          // a folder in which everybody may create names
Path baseFolder();                    // where the installer works
Path installer();                     // a copy in work()\Setup
// A program that takes command lines from files, as tests/host/Launcher.cpp does, starts all runs.
void useLauncher(const Path& launcher);

// An ended run: its result and its log, both also in results().
struct Run {
    DWORD code = 0;
    Path log{};         // as the installer wrote it; empty when there is none
    std::string text{}; // decoded
    // Whether these texts stand in the decoded log in this order.
    bool says(const std::vector<std::string_view>& texts) const;
};

class Started {
public:
    // `arguments` as they follow the program's name. Inheritable handles are inherited.
    explicit Started(const std::wstring& arguments, const Path& program = installer(), HANDLE job = nullptr);
    // Throws std::runtime_error after ten minutes.
    Run wait();

private:
    int number_;
    win32::UniqueHandle process_;
};
inline Run run(const std::wstring& arguments, const Path& program = installer(), HANDLE job = nullptr) {
    return Started(arguments, program, job).wait();
}
// Runs a program, of the system directory unless it is named by its whole path; throws std::runtime_error with what it
// printed unless it ends with 0.
void command(const wchar_t* program, const std::wstring& arguments);

bool comesTrue(const auto& condition, std::chrono::seconds limit) {
    for (const auto end = std::chrono::steady_clock::now() + limit; !condition(); Sleep(50)) {
        if (std::chrono::steady_clock::now() > end) return false;
    }
    return true;
}

// State.cpp: what is on the machine.
inline constexpr const wchar_t* carriedVersion = L"23.3.3.264"; // of the agent in the installer
// The sample agent as an earlier roll-out would have left it; it reports to this program.
void installEarlierAgent();
// Versions of the installed agents, separated by blanks.
std::wstring installedAgents();
// What the sample package was given; empty when it was not.
std::wstring packageProperty(const wchar_t* name);
// The text in a file of %WINDIR%\Temp; empty when there is none.
std::string resultFile(const wchar_t* name = L"SC-exit-code.txt");
// Registers a task of SYSTEM in the scheduler's folder Ostravel, to be started by hand.
void registerTask(const wchar_t* name, const Path& program, const std::wstring& arguments);
bool continuationRegistered();
// Names of the installer's and this program's trace sessions. Wine has none.
std::vector<std::wstring> sessions();
// Removes all that runs, items and the sample agent leave.
void putBack();
// The parts of owner and entry list that are for others than Administrators and SYSTEM; empty when none is.
std::wstring strangersAt(const Path& path);
// The same of the continuation's task and of the folder in which it is registered.
std::wstring strangersAtTask();

// Server.cpp: a server on loopback; each connection is served on one thread.
class Listener {
public:
    using Serve = std::function<void(std::uintptr_t socket)>;
    explicit Listener(Serve serve);
    ~Listener();
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;
    unsigned short port() const { return port_; }

private:
    std::uintptr_t socket_;
    unsigned short port_ = 0;
    std::thread thread_;
};
// What has come on a connection; empty at its end.
std::string receive(std::uintptr_t socket);
// -t and the token of a site at this address; of one that answers 200 and keeps what it receives.
std::wstring tokenOption(const std::string& url);
std::wstring tokenOption();
// The whole requests that came there, each once.
std::vector<std::string> takeReports();

// Child.cpp: this program as somebody's child. The exit code, when it was started as one.
std::optional<int> runAsChild(int count, wchar_t** arguments);
// An inheritable event of this name is looked for in the probe, under the number that the variable says.
inline constexpr const wchar_t* inheritableName = L"Local\\OstravelAcceptanceInheritable";
inline constexpr const wchar_t* inheritableVariable = L"OSTRAVEL_ACCEPTANCE_HANDLE";
// Whether this process may open the lock that a run holds.
bool entersLock();
// What a process without administrators' rights, at medium integrity, can do to a run that goes on, its folder and a
// file: empty when all is refused.
std::string doneWithoutRights(const Path& folder, const Path& file);

} // namespace acceptance
