#include "OstravelInstaller/cleaner/CleanerCommandLine.h"
#include "OstravelInstaller/cleaner/CleanerOutcome.h"

#include <gtest/gtest.h>

using namespace kelvane::bst;

TEST(CleanerCommandLine, HasEachPartWhenItsConditionHolds) {
    EXPECT_EQ(cleaningCommandLine(L"C:\\t c\\K.exe", {}), L"\"C:\\t c\\K.exe\" -d 0 -l 1 -v 1 --log 0");
    CleanerOptions cleaning{.statelessUpgrade = true, .siteToken = "to ken\\", .healthCheckMode = 7};
    cleaning.uninstallOnly = true, cleaning.diagUid = "uid", cleaning.verbosityLevel = 3;
    EXPECT_EQ(cleaningCommandLine(L"C", cleaning), L"\"C\" --stateless_upgrade 1 -t \"to ken\\\\\" -d 0 -l 1 -H 7 -u 1"
                                                   L" --diag_uid uid -v 3 --log 0");
    EXPECT_EQ(cleaningCommandLine(L"C", {.diagnostics = true, .lm = true}), L"\"C\" -v 1 --log 0");
    EXPECT_EQ(diagnosticsCommandLine(L"C", {}), L"\"C\" -c 0 -d 1 --log 0");
    EXPECT_EQ(diagnosticsCommandLine(L"C", {.siteToken = "t", .diagUid = "uid", .level = 0}),
              L"\"C\" -c 0 -d 1 --log 0 -t \"t\" --diag_uid uid -v 0");
    for (const auto& value : {std::string("a\" -x \""), std::string("a\nb"), std::string("a\0b", 3)}) {
        EXPECT_THROW(cleaningCommandLine(L"C", {.siteToken = value}), std::runtime_error);
        EXPECT_THROW(diagnosticsCommandLine(L"C", {.diagUid = value}), std::runtime_error);
    }
}

TEST(CleanerOutcome, TurnsASuccessfulUninstallOnlyIntoARebootFirst) {
    const auto left = [](bool answer) { return [answer] { return answer; }; };
    for (const std::uint32_t exitCode : {0U, 7U}) {
        const auto run = classifyCleaner(exitCode, true, left(false));
        EXPECT_EQ(run.outcome, CleanerOutcome::RebootNeeded);
        EXPECT_EQ(run.exitCode, 2U);
    }
    EXPECT_EQ(classifyCleaner(3, true, left(false)).exitCode, 3U);
    EXPECT_EQ(classifyCleaner(3, false, left(true)).outcome, CleanerOutcome::RebootNeeded);
    for (const std::uint32_t exitCode : {9U, 10U, 11U, 12U, 15U, 259U, 0xFFFFFFFFU})
        EXPECT_THROW(classifyCleaner(exitCode, true, left(true)), std::runtime_error) << exitCode;
}
