#include "libkelvane/AgentVersion.h"

#include <gtest/gtest.h>

using kelvane::AgentVersion;

TEST(AgentVersion, ParsesWholeVersionsAndComparesPartByPart) {
    EXPECT_EQ(kelvane::parseAgentVersion(L"23.3.3.264"), (AgentVersion{23, 3, 3, 264}));
    EXPECT_EQ(kelvane::parseAgentVersion(L"65535.0.0.00"), (AgentVersion{65535, 0, 0, 0}));
    for (const auto* text : {L"", L"1.2.3", L"1.2.3.4.5", L"1.2.3.65536", L"1.2.3.4 ", L"1.2.3.x", L"1..3.4", L".1.2.3",
                             L"1.2.3.", L"-1.2.3.4", L"99999999999999999999.1.1.1"})
        EXPECT_FALSE(kelvane::parseAgentVersion(text)) << text;
    EXPECT_EQ(kelvane::parseShortAgentVersion(L"23.4"), (AgentVersion{23, 4, 0, 0}));
    EXPECT_FALSE(kelvane::parseShortAgentVersion(L"23.4.1.2.3"));
    EXPECT_LT((AgentVersion{22, 10, 0, 0}), (AgentVersion{23, 2, 0, 0}));
    EXPECT_LT((AgentVersion{23, 2, 9, 9}), (AgentVersion{23, 10, 0, 0}));
}
