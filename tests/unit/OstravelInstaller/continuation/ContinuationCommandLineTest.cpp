#include "OstravelInstaller/continuation/ContinuationCommandLine.h"

#include "OstravelInstallerLib/CommandLineUtils.h"
#include "Support.h"
#include "libwin32/Text.h"

#include <gtest/gtest.h>

using namespace kelvane::bst;

TEST(ContinuationCommandLine, HasEachPartWhenItsConditionHolds) {
    ContinuationArguments arguments;
    arguments.action = PostRebootAction::Install;
    arguments.siteToken = "t";
    arguments.installationId = L"I";
    EXPECT_EQ(continuationCommandLine(arguments), L"-q -r \"2\" -t \"t\" INSTALLATION_ID=I tmd=\"\"");
    arguments.action = PostRebootAction::CleanAndInstall;
    arguments.tmd = L"C:\\tm d\\";
    arguments.reinstallReason = "HealthCheck";
    arguments.installerArguments = "A=1";
    arguments.i = L"i", arguments.u = "u", arguments.m = "m";
    arguments.ppc = L"ppc";
    arguments.diagnosticUid = "uid-1";
    arguments.rebootOnNeed = arguments.diagnostics = arguments.sendLog = true;
    arguments.dontFailOnConfigPreservingFailures = arguments.pmu = true;
    EXPECT_EQ(continuationCommandLine(arguments),
              L"-q -r \"1\" -t \"t\" INSTALLATION_ID=I tmd=\"C:\\tm d\\\\\" BST_REINSTALL_REASON=HealthCheck -a \"A=1\""
              L" -i \"i\" -u \"u\" -m \"m\" --ppc=\"ppc\" --diagnostic_UID=uid-1 -b --diagnostics --send_log"
              L" --dont_fail_on_config_preserving_failures --pmu");

    // The options of the last line are read back, whatever the values are.
    arguments.i.reset(), arguments.u.reset(), arguments.m.reset();
    arguments.installerArguments = "X=\"a b\" Y=\\\\s\\\\\"q\" Z=C:\\\xC3\xBC\\";
    arguments.ppc = L"p c\"\\";
    OstravelInstallerCmdLine cmdLine;
    ASSERT_TRUE(cmdLine.parse(support::words(continuationCommandLine(arguments))));
    const Options& options = cmdLine.options();
    EXPECT_EQ(decodePostRebootAction(options.r.value), arguments.action);
    EXPECT_EQ(win32::toUtf8(options.fallback_site_token.value), arguments.siteToken);
    EXPECT_EQ(options.INSTALLATION_ID.value, arguments.installationId);
    EXPECT_EQ(options.tmd.value, arguments.tmd);
    EXPECT_EQ(win32::toUtf8(options.BST_REINSTALL_REASON.value), arguments.reinstallReason);
    EXPECT_EQ(win32::toUtf8(options.installer_arguments.value), arguments.installerArguments);
    EXPECT_EQ(options.ppc.value, arguments.ppc);
    EXPECT_EQ(win32::toUtf8(options.diagnostic_UID.value), arguments.diagnosticUid);
    EXPECT_TRUE(options.quiet() && options.reboot_on_need && options.diagnostics && options.send_log && options.pmu &&
                options.dont_fail_on_config_preserving_failures);

    arguments.siteToken = std::string("a\0b", 3);
    EXPECT_THROW(continuationCommandLine(arguments), std::runtime_error);
    EXPECT_THROW(decodePostRebootAction(3), std::runtime_error);
}
