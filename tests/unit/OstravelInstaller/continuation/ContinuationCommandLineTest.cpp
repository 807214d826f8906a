#include "OstravelInstaller/continuation/ContinuationCommandLine.h"

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
    EXPECT_THROW(decodePostRebootAction(3), std::runtime_error);
}
