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
    // {"url":"https://m","site_key":"k\r\nx-evil: 1"}
    EXPECT_FALSE(siteFromToken("eyJ1cmwiOiJodHRwczovL20iLCJzaXRlX2tleSI6ImtcclxueC1ldmlsOiAxIn0="));
    // Not base64; base64 of no JSON; of an array; of an object without the members.
    for (const char* token : {"TOKEN!", "", "YWJj", "W10=", "eyJ1cmwiOiAxfQ==", "eyJ1cmwiOg=="})
        EXPECT_FALSE(siteFromToken(token)) << token;
}

TEST(Enrolment, ReportsGoOverHttpsOrStayOnTheMachine) {
    for (const auto* server : {L"https://m.example", L"HTTPS://m.example:8443/x", L"https://u:p@m.example",
                               L"http://localhost:1", L"http://LocalHost/", L"http://127.1.2.3", L"http://[::1]:8080",
                               L"https://h:65535?q=:0", L"https://u:0@h", L"https://[::1]"})
        EXPECT_TRUE(mayReportTo(server)) << server;
    for (const auto* server :
         {L"http://m.example", L"http://127.0.0.1.example", L"http://127.0.0.1@m.example", L"http://localhost.example",
          L"http://localhost:1@m.example", L"http://128.0.0.1", L"http://127.1", L"http://127.0.0.256",
          L"http://127.0.0.1.", L"http://[::2]", L"ftp://localhost", L"m.example", L"https://", L"https:m.example",
          L"//m.example", L"https://a b", L"x", L""})
        EXPECT_FALSE(mayReportTo(server)) << server;
    for (const auto* port : {L"", L"/x", L"0", L"00?x", L"65536", L"99999", L"18446744073709551617", L"abc"}) {
        EXPECT_FALSE(mayReportTo(std::wstring(L"https://u:1@h:") + port)) << port;
        EXPECT_FALSE(mayReportTo(std::wstring(L"https://[::1]:") + port)) << port;
    }
}
