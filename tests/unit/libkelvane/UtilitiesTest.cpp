#include "libkelvane/Utilities.h"

#include "Support.h"
#include "libwin32/Win32Error.h"

#include <gtest/gtest.h>

using support::child;

TEST(Utilities, ExitCodeOrStillActive) {
    EXPECT_EQ(kelvane::execute_throw(child(L"exit 1603"), {}, INFINITE), 1603U);
    EXPECT_EQ(kelvane::executeTimed(child(L"exit 7"), {}, 0xFFFFFFFE), 7U);
    EXPECT_EQ(kelvane::executeTimed(child(L"sleep"), {}, 1), 259U);
    EXPECT_THROW(kelvane::executeTimed(child(L"exit 7"), {}, 0xFFFFFFFF), std::out_of_range);
}

TEST(Utilities, ErrorsNameTheFunctionAndNoProgramIsSearchedFor) {
    std::filesystem::current_path(kelvane::PathUtils::ownExecutable().parent_path());
    for (const auto* line :
         {L"\"C:\\missing\\tool.exe\" -q", L"cmd.exe /c exit", L"\"test_child.exe\" exit 0", L"\"", L""}) {
        const auto error = support::thrownBy<win32::Win32Error>([&] { kelvane::executeAndGetHandles(line); });
        EXPECT_EQ(error.location().unit + error.location().function, "libkelvane\\UtilitiesexecuteAndGetHandles")
            << line;
        EXPECT_EQ(support::thrownBy<win32::Win32Error>([&] { kelvane::execute(line); }).location().function, "execute");
    }
}
