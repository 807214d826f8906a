#include "Machine.h"
#include "Server.h"
#include "libkelvane/FileUtilities.h"

using namespace acceptance;

namespace {

struct Journeys : Item {};

TEST_F(Journeys, FirstInstallation) {
    settles("the package installs for real, the result is 0 everywhere, nothing but the log is left");
    const auto ended = run(L"-q " + tokenOption() + L" -a CUSTOMER_ID=7");
    EXPECT_EQ(ended.code, 0U);
    EXPECT_EQ(resultFile(), "0");
    EXPECT_EQ(installedAgents(), carriedVersion);
    EXPECT_EQ(packageProperty(L"CUSTOMER_ID"), L"7");
    EXPECT_EQ(reports().take().size(), 2U);
    kelvane::FileUtilities::scanDirectory(
        baseFolder(), [](const auto& entry) { EXPECT_EQ(entry.path.extension(), L".etl") << entry.path; });
}

} // namespace
