#include "OstravelInstaller/reporting/Enrolment.h"
#include "OstravelInstaller/reporting/TelemetryMetaData.h"
#include "OstravelInstaller/reporting/TelemetryStart.h"
#include "OstravelInstaller/run/InstallerResult.h"

#include <gtest/gtest.h>

using namespace kelvane::bst;

TEST(TelemetryMetaData, CutsConvertsAndRendersValues) {
    TelemetryMetaData record;
    EXPECT_EQ(record.ToLogText(), L"TelemetryMetaData = {\n}");
    record.SetInstallationPhase(InstallationPhaseType::WaitingForReboot);
    EXPECT_EQ(record.ToLogText(), L"TelemetryMetaData = {\n    {installationPhase : waitingForReboot}\n}");
    record.SetValue(L"long", std::wstring(151, L'x'));
    record.SetValueUtf8(L"utf8", "\xc3\xa9");
    record.SetValueUtf8(L"broken", "\xff\xfe");
    EXPECT_EQ(record.GetValue(L"long").size(), 150U);
    EXPECT_EQ(record.GetValue(L"utf8") + record.GetValue(L"broken"), L"\u00e9");
    EXPECT_THROW(record.GetValue(L"absent"), std::out_of_range);
}

TEST(Telemetry, OnlyKnownInitiatorsAndTwoThousandsCount) {
    for (const auto& [given, name] :
         {std::pair(L"Management", L"Management"), {L"management", L"Other"}, {L"", L"Other"}})
        EXPECT_EQ(initiatorName(given), name);
    for (const std::uint32_t code : {0U, 12U, 205U, 1000U, 1999U, 2000U, 2999U, 3000U})
        EXPECT_EQ(toTelemetryResult(static_cast<InstallerResult>(code)), code / 1000 == 2 ? L"0" : L"1") << code;
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
