#include "OstravelInstaller/continuation/ContinuationCommandLine.h"

#include "OstravelInstallerLib/CommandLineUtils.h"
#include "Support.h"
#include "libwin32/Text.h"

#include <gtest/gtest.h>

using namespace kelvane::bst;

TEST(ContinuationCommandLine, HasEachPartWhenItsConditionHolds) {
    Options given;
    ContinuationArguments arguments{.options = given, .action = PostRebootAction::Install};
    arguments.siteToken = "t";
    arguments.installationId = L"I";
    EXPECT_EQ(continuationCommandLine(arguments), L"-q -r \"2\" -t \"t\" INSTALLATION_ID=I tmd=\"\"");
    arguments.action = PostRebootAction::CleanAndInstall;
    given.tmd.value = L"C:\\tm d\\";
    arguments.reinstallReason = L"HealthCheck";
    given.installer_arguments = {L"A=1", true};
    arguments.i = L"i", arguments.u = "u", arguments.m = "m";
    given.ppc.value = L"ppc";
    arguments.diagnosticUid = L"uid-1";
    for (auto* option : {&given.reboot_on_need, &given.diagnostics, &given.send_log, &given.pmu,
                         &given.dont_fail_on_config_preserving_failures})
        option->value = true;
    EXPECT_EQ(continuationCommandLine(arguments),
              L"-q -r \"1\" -t \"t\" INSTALLATION_ID=I tmd=\"C:\\tm d\\\\\" BST_REINSTALL_REASON=HealthCheck -a \"A=1\""
              L" -i \"i\" -u \"u\" -m \"m\" --ppc=\"ppc\" --diagnostic_UID=uid-1 -b --diagnostics --send_log"
              L" --dont_fail_on_config_preserving_failures --pmu");

    // The options of the last line are read back, whatever the values are.
    arguments.i.reset(), arguments.u.reset(), arguments.m.reset();
    given.installer_arguments.value = L"X=\"a b\" Y=\\\\s\\\\\"q\" Z=C:\\\u00FC\\";
    given.ppc.value = L"p c\"\\";
    OstravelInstallerCmdLine cmdLine;
    ASSERT_TRUE(cmdLine.parse(support::words(continuationCommandLine(arguments))));
    const Options& options = cmdLine.options();
    EXPECT_EQ(decodePostRebootAction(options.r.value), arguments.action);
    EXPECT_EQ(win32::toUtf8(options.fallback_site_token.value), arguments.siteToken);
    EXPECT_EQ(options.INSTALLATION_ID.value, arguments.installationId);
    EXPECT_EQ(options.tmd.value, given.tmd.value);
    EXPECT_EQ(options.BST_REINSTALL_REASON.value, arguments.reinstallReason);
    EXPECT_EQ(options.installer_arguments.value, given.installer_arguments.value);
    EXPECT_EQ(options.ppc.value, given.ppc.value);
    EXPECT_EQ(options.diagnostic_UID.value, arguments.diagnosticUid);
    EXPECT_TRUE(options.quiet() && options.reboot_on_need && options.diagnostics && options.send_log && options.pmu &&
                options.dont_fail_on_config_preserving_failures);

    arguments.siteToken = std::string("a\0b", 3);
    EXPECT_THROW(continuationCommandLine(arguments), std::runtime_error);
    EXPECT_THROW(decodePostRebootAction(3), std::runtime_error);
}
