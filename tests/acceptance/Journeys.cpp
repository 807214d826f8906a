// Whole runs of the shipped program, as an administrator or a deployment tool starts them.
#include "Acceptance.h"

#include <set>

using namespace acceptance;

namespace {

// The run's result, as exit code and as file, and nothing left but the log.
void expectEnd(const Run& ended, DWORD code) {
    EXPECT_EQ(ended.code, code);
    EXPECT_EQ(resultFile(), std::to_string(code));
    files::scanDirectory(baseFolder(),
                         [](const auto& entry) { EXPECT_EQ(entry.path.extension(), L".etl") << entry.path; });
}

struct Journeys : Item {};

TEST_F(Journeys, FirstInstallation) {
    settles("the package installs for real, with the run's properties; two reports arrive");
    expectEnd(run(L"-q " + tokenOption() + L" -a CUSTOMER_ID=7"), 0);
    EXPECT_EQ(installedAgents(), carriedVersion);
    EXPECT_EQ(packageProperty(L"CUSTOMER_ID"), L"7");
    EXPECT_EQ(takeReports().size(), 2U);
}

TEST_F(Journeys, Upgrade) {
    settles("an installed agent is upgraded in place, and its site is kept");
    installEarlierAgent();
    expectEnd(run(L"-q --stateless_upgrade 1"), 12);
    EXPECT_EQ(installedAgents(), carriedVersion);
    EXPECT_EQ(L"-t " + packageProperty(L"SITE_TOKEN"), tokenOption());
}

TEST_F(Journeys, CleanAndReinstall) {
    settles("in one run the cleaner removes the agent and the package installs the new one; no task is left");
    installEarlierAgent();
    expectEnd(run(L"-q --stateless_upgrade 1 --pmu"), 0);
    EXPECT_EQ(installedAgents(), carriedVersion);
    EXPECT_EQ(packageProperty(L"IS_INSTALL_AFTER_CLEANING"), L"true");
    EXPECT_FALSE(continuationRegistered());
}

TEST_F(Journeys, Diagnostics) {
    settles("diagnostics are taken and nothing is installed");
    expectEnd(run(L"-q -o " + tokenOption()), 0);
    EXPECT_NE(resultFile(L"KelvaneDiagnostics.txt"), "");
    EXPECT_EQ(installedAgents(), L"");
}

TEST_F(Journeys, MachineIdentifier) {
    settles("reports tell a machine identifier, the same in every run");
    std::set<std::string> identifiers;
    for (int i = 0; i < 2; ++i) {
        run(L"-q -o " + tokenOption());
        for (const auto& report : takeReports()) {
            constexpr std::string_view head = "name=\"machineUid\"\r\n\r\n";
            const auto start = report.find(head) + head.size();
            identifiers.insert(report.substr(start, report.find("\r\n", start) - start));
        }
    }
    ASSERT_EQ(identifiers.size(), 1U);
    EXPECT_EQ(identifiers.begin()->size(), 40U) << *identifiers.begin();
}

TEST_F(Journeys, SystemTaskWithoutQuiet) {
    settles("started by a task as SYSTEM without -q, it ends with 2010 and installs nothing");
    NEEDS_WINDOWS("starts no tasks");
    registerTask(L"Acceptance", installer(), tokenOption());
    command(L"schtasks.exe", L"/run /tn Ostravel\\Acceptance");
    EXPECT_TRUE(comesTrue([] { return resultFile() == "2010"; }, std::chrono::minutes(2))) << resultFile();
    EXPECT_EQ(installedAgents(), L"");
}

struct BeforeRestart : Item {};

TEST_F(BeforeRestart, TaskIsRegistered) {
    settles("a clean and reinstall with a restart in between ends with 103, its task registered");
    installEarlierAgent();
    EXPECT_EQ(run(L"-q").code, 103U);
    EXPECT_EQ(resultFile(), "103");
    EXPECT_EQ(installedAgents(), L"");
    EXPECT_TRUE(continuationRegistered());
}

struct AfterRestart : testing::Test {};

TEST_F(AfterRestart, AgentIsInstalled) {
    settles("the boot alone brings the agent; task and trace session are gone");
    constexpr auto limit = std::chrono::minutes(5);
    EXPECT_TRUE(comesTrue([] { return !resultFile(L"SC-after-reboot-exit-code.txt").empty(); }, limit));
    EXPECT_TRUE(comesTrue([] { return sessions().empty(); }, limit)) << "the run still reports";
    EXPECT_EQ(resultFile(L"SC-after-reboot-exit-code.txt"), "0");
    EXPECT_EQ(resultFile(), "103");
    EXPECT_EQ(installedAgents(), carriedVersion);
    EXPECT_FALSE(continuationRegistered());
}

} // namespace
