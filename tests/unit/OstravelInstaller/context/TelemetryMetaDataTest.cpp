#include "OstravelInstaller/context/TelemetryMetaData.h"

#include "OstravelInstaller/context/InstallerResult.h"

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
    record.SetValue(L"lines", std::wstring(L"a\r\n--b\0\x7f\u0080", 9));
    EXPECT_EQ(record.GetValue(L"lines"), L"a  --b  \u0080");
    EXPECT_EQ(record.GetValue(L"long").size(), 150U);
    EXPECT_EQ(record.GetValue(L"utf8") + record.GetValue(L"broken"), L"\u00e9");
    EXPECT_THROW(record.GetValue(L"absent"), std::out_of_range);
}

TEST(InstallerResult, OnlyTwoThousandsAreFailures) {
    for (const std::uint32_t code : {0U, 12U, 205U, 1000U, 1999U, 2000U, 2999U, 3000U})
        EXPECT_EQ(toTelemetryResult(static_cast<InstallerResult>(code)), code / 1000 == 2 ? L"0" : L"1") << code;
}
