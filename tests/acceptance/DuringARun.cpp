// What can be seen only while a run goes on: one run of a clean and reinstall is held in its package.
#include "Acceptance.h"
#include "libwin32/Text.h"

#include <format>

using namespace acceptance;

namespace {

struct DuringARun : testing::Test {
    static void SetUpTestSuite() {
        putBack();
        installEarlierAgent();
        files::createDirectories(paths::windowsTemp() / L"KelvaneConfig");
        files::writeFile(paths::windowsTemp() / L"KelvaneConfig" / L"planted.txt", "planted");
        files::createDirectories(probe());
        files::copyFile(paths::ownExecutable(), probe() / L"probe.exe");
        SECURITY_ATTRIBUTES attributes{sizeof attributes, nullptr, TRUE};
        const win32::UniqueHandle inheritable(CreateEventW(&attributes, TRUE, FALSE, inheritableName));
        const auto number = std::to_wstring(reinterpret_cast<std::uintptr_t>(inheritable.get()));
        SetEnvironmentVariableW(inheritableVariable, number.c_str());
        SetEnvironmentVariableW(L"WINDIR", L"C:\\elsewhere");
        held.emplace(L"-q --stateless_upgrade 1 --pmu --alternative_installer_path " +
                     (probe() / L"probe.exe").native());
        SetEnvironmentVariableW(L"WINDIR", paths::windowsDirectory().c_str());
        comesTrue([] { return files::exists(probe() / L"report.txt"); }, std::chrono::minutes(2));
    }
    static void TearDownTestSuite() {
        files::writeFile(probe() / L"go", "");
        if (held) held->wait();
        held.reset();
        putBack();
    }
    void SetUp() override {
        ASSERT_TRUE(files::exists(probe() / L"report.txt")) << "the run did not come to its package";
    }

    static Path probe() { return work() / L"Probe"; }
    static inline std::optional<Started> held;
};

// The entries of a folder whose names begin so.
std::vector<Path> entries(const Path& folder, std::wstring_view start) {
    std::vector<Path> found;
    files::scanDirectory(folder, [&](const files::DirectoryEntry& entry) {
        if (entry.path.filename().native().starts_with(start)) found.push_back(entry.path);
    });
    return found;
}

Path only(const Path& folder, std::wstring_view start) {
    const auto found = entries(folder, start);
    if (found.size() == 1) return found[0];
    throw std::runtime_error(std::format("{} entries in {}", found.size(), folder.string()));
}

TEST_F(DuringARun, FilesAreForAdministrators) {
    settles("owner and entries of all that a run makes: Administrators and SYSTEM alone");
    const auto run = only(baseFolder(), L"Run_");
    const auto copy = only(baseFolder(), L"QX_R_");
    const Path places[] = {baseFolder(),
                           run,
                           run / L"temp.zip",
                           run / L"temp_content",
                           copy,
                           copy / L"OstravelInstaller.exe",
                           copy / L"Continuation.json",
                           paths::windowsTemp() / L"KelvaneConfig"};
    for (const auto& place : places)
        EXPECT_TRUE(files::exists(place)) << place;
    NEEDS_WINDOWS("keeps no entry lists");
    for (const auto& place : places)
        EXPECT_EQ(strangersAt(place), L"");
    for (const auto& payload : entries(run / L"temp_content", L""))
        EXPECT_EQ(strangersAt(payload), L"");
}

TEST_F(DuringARun, LogIsForAdministrators) {
    settles("owner and entries of the log while its session writes it: Administrators and SYSTEM alone");
    const auto log = only(baseFolder(), L"OstravelInstallerLog_");
    NEEDS_WINDOWS("keeps no entry lists");
    EXPECT_EQ(strangersAt(log), L"");
}

TEST_F(DuringARun, TaskIsForAdministrators) {
    settles("entries of the guard's task and of its folder: Administrators and SYSTEM alone");
    EXPECT_TRUE(continuationRegistered());
    NEEDS_WINDOWS("registers no boot task");
    EXPECT_EQ(strangersAtTask(), L"");
}

TEST_F(DuringARun, NothingWithoutRights) {
    settles("a process without administrators' rights reaches neither namespace, mutex, folder nor log");
    NEEDS_WINDOWS("has neither private namespaces nor restricted processes");
    EXPECT_TRUE(entersLock()) << "as administrator";
    EXPECT_EQ(doneWithoutRights(baseFolder(), only(baseFolder(), L"OstravelInstallerLog_")), "");
}

TEST_F(DuringARun, SecondRun) {
    settles("the lock holds: a second run ends with 1002");
    EXPECT_EQ(run(L"-q -t T").code, 1002U);
}

TEST_F(DuringARun, PlantedBackup) {
    settles("a planted KelvaneConfig folder is replaced: what lay in it is gone");
    EXPECT_EQ(entries(paths::windowsTemp() / L"KelvaneConfig", L"planted").size(), 0U);
}

TEST_F(DuringARun, WhatAChildInherits) {
    settles("a planted WINDIR and an inheritable handle stop at the installer");
    const auto report = win32::toWide(files::readFile(probe() / L"report.txt"));
    if (report.find(L"inherited=unknown") != report.npos) GTEST_SKIP() << "this system does not compare handles";
    for (const auto& line :
         {L"WINDIR=" + paths::windowsDirectory().native() + L'\n',
          L"directory=" + paths::systemDirectory().native() + L'\n', std::wstring(L"inherited=false")})
        EXPECT_NE(win32::findIgnoringAsciiCase(report, line), report.npos) << report;
}

} // namespace
