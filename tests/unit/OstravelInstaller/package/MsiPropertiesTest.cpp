#include "OstravelInstaller/package/MsiProperties.h"

#include <gtest/gtest.h>

#include <tuple>

using namespace kelvane::bst;

static BaseProperties base() { return {.diagUid = L"D", .initiator = L"Other"}; }

TEST(MsiProperties, StandInTheOrderOfTheTable) {
    auto properties = base();
    properties.installerArguments = L"/l*v \"a b\"";
    properties.agentUid = L"U";
    properties.customerId = L"C";
    auto text = basePropertyString(properties);
    appendServerProxy(text, L"http://p:1");
    appendUwfMode(text);
    appendInstallAfterCleaning(text);
    EXPECT_EQ(text, L"/l*v \"a b\" DIAG_UID=D INSTALLATION_INITIATOR=Other AGENT_UID=U FORCE_SET_AGENT_UID=true"
                    L" CUSTOMER_ID=C SERVER_PROXY=http://p:1 UWF_MODE=TRUE IS_INSTALL_AFTER_CLEANING=true");

    const RunProperties run{L"C:\\windows", L"NoReason", "tök=", L"I", "X=1", true};
    EXPECT_EQ(installerCommandLine(L"C:\\a b\\x.MSI", L" A=1", true, run),
              L"\"C:\\windows\\system32\\msiexec.exe\"  A=1 /qn /norestart /i \"C:\\a b\\x.MSI\""
              L" CURRENT_AGENT_CONFIG_DIR=C:\\windows BST_REINSTALL_REASON=\"NoReason\" SITE_TOKEN=\"tök=\""
              L" INSTALLATION_ID=I X=1 HEALTH_CHECK_PASSED=true");
    EXPECT_THROW(installerCommandLine(L"C:\\x.msp", L"", true, run), std::runtime_error);
    EXPECT_EQ(basePropertyString({.diagUid = L"D 1", .initiator = L"x"}),
              L" DIAG_UID=\"D 1\" INSTALLATION_INITIATOR=x");
    EXPECT_EQ(runPropertyString({L"C:\\absent", L"OldAgent", {}, L"I"}), L" BST_REINSTALL_REASON=\"OldAgent\"");
}

TEST(MsiProperties, VirtualDesktopsCarryNoAgentIdentifier) {
    const std::tuple<const wchar_t*, bool, const wchar_t*> cases[] = {
        {L"A=1", true, L"A=1 DIAG_UID=D INSTALLATION_INITIATOR=Other VDI=true"},
        {L"vdi=TRUE", true, L"vdi=TRUE DIAG_UID=D INSTALLATION_INITIATOR=Other"},
        {L"vdi=TRUE", false, L"vdi=TRUE DIAG_UID=D INSTALLATION_INITIATOR=Other"}};
    for (const auto& [arguments, vdi, expected] : cases) {
        auto properties = base();
        properties.installerArguments = arguments;
        properties.vdi = vdi;
        properties.agentUid = L"U";
        EXPECT_EQ(basePropertyString(properties), expected);
    }
}
