#include "OstravelInstallerLib/ProcessWait.h"

#include "libwin32/Win32Event.h"

#include <gtest/gtest.h>

using namespace kelvane::bst;

TEST(StuckMonitorWait, GivesUpAtTwoMarksInARow) {
    // The answers of the two checks in the order they are asked, h(ung) or -, service before port; a process whose wait
    // is not given up ends after the last.
    const std::pair<std::string, bool> cases[] = {{"sh ph sh ph", true},       {"s- s- s-", false},
                                                  {"sh ph s- sh ph", false},   {"sh p- sh ph", false},
                                                  {"sh p- sh ph sh ph", true}, {"sh ph sh p- sh ph sh ph", true}};
    for (const auto& [answers, givenUp] : cases) {
        win32::Win32Event process;
        std::string left = answers + " ";
        const auto check = [&](char name) {
            EXPECT_EQ(left.at(0), name) << answers;
            const bool hung = left.at(1) == 'h';
            left.erase(0, 3);
            if (left.empty()) process.set();
            return hung;
        };
        const auto wait = stuckMonitorWait({[&] { return check('s'); }, [&] { return check('p'); }}, 1);
        bool thrown = false;
        try {
            wait(process.handle());
        } catch (const StuckMonitorError&) {
            thrown = true;
        }
        EXPECT_EQ(thrown, givenUp) << answers;
        EXPECT_EQ(left, "") << answers;
    }
}
