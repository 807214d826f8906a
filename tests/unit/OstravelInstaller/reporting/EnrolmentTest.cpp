#include "OstravelInstaller/reporting/Enrolment.h"
#include "OstravelInstaller/reporting/TelemetryStart.h"

#include <gtest/gtest.h>

using namespace kelvane::bst;

TEST(TelemetryStart, AnyOtherInitiatorIsOther) {
    for (const auto& [given, name] :
         {std::pair(L"Management", L"Management"), {L"management", L"Other"}, {L"", L"Other"}})
        EXPECT_EQ(initiatorName(given), name);
}

TEST(Enrolment, OnlyTokensOfTheKnownFormNameTheSite) {
    // {"url": "https://m.example", "site_key": "k"}
    const auto site = siteFromToken("eyJ1cmwiOiAiaHR0cHM6Ly9tLmV4YW1wbGUiLCAic2l0ZV9rZXkiOiAiayJ9");
    ASSERT_TRUE(site);
    EXPECT_EQ(site->server + L" " + site->siteKey, L"https://m.example k");
    // Not base64; base64 of no JSON; of an array; of an object without the members.
    for (const char* token : {"TOKEN!", "", "YWJj", "W10=", "eyJ1cmwiOiAxfQ==", "eyJ1cmwiOg=="})
        EXPECT_FALSE(siteFromToken(token)) << token;
}
