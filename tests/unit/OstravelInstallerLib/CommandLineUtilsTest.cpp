#include "OstravelInstallerLib/CommandLineUtils.h"
#include "OstravelInstallerLib/ArgumentNormalizer.h"
#include "Support.h"

#include <gtest/gtest.h>

#include <ranges>

using namespace kelvane::bst;

// The text of the failure that a quiet run with these arguments ends with; empty when there is none.
static std::string failureOf(const std::wstring& text) {
    OstravelInstallerCmdLine commandLine;
    try {
        return commandLine.parse(support::words(L"-q " + text)) ? "" : "something was shown";
    } catch (const HandledByCommandLineParserError& error) {
        EXPECT_EQ(error.location().unit, R"(OstravelInstallerLib\CommandLineUtils)");
        return error.what();
    }
}

static std::vector<std::string> parts(const std::string& line) {
    std::vector<std::string> parts;
    for (const auto part : std::views::split(line, '|'))
        parts.emplace_back(part.begin(), part.end());
    return parts;
}

TEST(ArgumentNormalizer, BringsArgumentsIntoTheParsersForm) {
    const std::vector<OptionName> declared{
        {"clean_only", "c", false},         {"qn", "q", false}, {"temp_path", "p", true},
        {"installer_arguments", "a", true}, {"", "r", true},    {"lm", "l", false}};
    // Each line is taken apart at its bars.
    const std::tuple<std::string, std::string, bool> cases[] = {
        {"-clean_only|---clean_only|--clean_only|--c|-----c", "--clean_only|--clean_only|--clean_only|-c|-c", false},
        {"--q", "-q", true},
        {"-lq", "-lq", true},
        {"-xq|--unquiet|q|qn", "-xq|--unquiet|q|qn", false},
        {"-a|--clean_only /qn|-q", "-a|--clean_only /qn|-q", true},
        {"--installer_arguments|-q", "--installer_arguments|-q", false},
        {"---a|---clean_only", "-a|---clean_only", false},
        {"--installer_arguments=--clean_only A=\"x\"", "--installer_arguments|--clean_only A=\"x\"", false},
        {"temp_path=C:\\a=b c|-temp_path=|-p C:\\d=e", "--temp_path|C:\\a=b c|--temp_path||-p|C:\\d=e", false},
        {"-p|temp_path=1|-p|BST_REINSTALL_REASON=x|-r|-1", "-p|temp_path=1|-p|BST_REINSTALL_REASON=x|-r|-1", false},
        {"-clean_only=1|clean_only=1|p=1|temp_path|other=1", "--clean_only=1|clean_only=1|p=1|temp_path|other=1",
         false},
        {"|-|--|---|--=1", "|-|--|---|--=1", false}};
    for (const auto& [given, expected, quiet] : cases) {
        const auto result = normalizeArguments(parts(given), declared);
        EXPECT_EQ(result.arguments, parts(expected));
        EXPECT_TRUE(result.quiet == quiet && !result.reinstallReason) << given;
    }
}

TEST(CommandLine, RefusesWhatItCannotRead) {
    const std::pair<const wchar_t*, const char*> cases[] = {
        {L"--unknown_option", "Couldn't find match for argument"},
        {L"-force=1", "Couldn't find match for argument"},
        {L"-f --force", "Argument already set!"},
        {L"-a", "Missing a value for this argument!"},
        {L"-r -1", "Couldn't read argument value from string '-1'"},
        {L"-r 4294967296", "Couldn't read argument value from string '4294967296'"},
        {L"-r \"\"", "Couldn't read argument value from string ''"},
        {L"-H 1x", "Couldn't read argument value from string '1x'"},
        {L"--help", "usage is not shown in quiet mode"},
        {L"-version", "version is not shown in quiet mode"},
        {L"-c --no_initial_installation --dont_cleanstall --pmu",
         "\"c\" and \"--no_initial_installation\" cannot be used together\""},
        {L"-c --dont_cleanstall --pmu", "\"c\" and \"--dont_cleanstall\" cannot be used together\""},
        {L"--no_initial_installation --dont_cleanstall --stateless_upgrade 2",
         "stateless_upgrade must be set to 1 if you use \"--no_initial_installation\" or \"--dont_cleanstall\""},
        {L"--no_initial_installation --dont_cleanstall --stateless_upgrade 1",
         "\"--no_initial_installation\" and \"--dont_cleanstall\" cannot be used together"},
        {L"-clean_only -pmu", "\"--clean_only\" and \"--pmu\" cannot be used together"},
        {L"--dont_cleanstall --stateless_upgrade 1", ""},
        {L"-c -p \"\" -H -3 -v 2", ""}};
    for (const auto& [arguments, failure] : cases)
        EXPECT_EQ(failureOf(arguments), failure);
}

TEST(CommandLine, FindsInstallerProperties) {
    const std::wstring huge(30000, L'x');
    const std::pair<std::wstring, std::optional<std::wstring>> cases[] = {
        {L"INSTALLATION_ID=\"a b\" X=1", L"a b"},
        {L"INSTALLATION_ID=ab X=1", L"ab"},
        {L"INSTALLATION_ID=", L""},
        {L"INSTALLATION_ID=\"\" X", L""},
        {L"INSTALLATION_ID=\"a\" X=\"b\"", L"a\" X=\"b"},
        {L"INSTALLATION_ID=\"a\"\nX=\"b\"", L"a"},
        {L"INSTALLATION_ID=\"a b", L"\"a"},
        {L"INSTALLATION_ID=x\tINSTALLATION_ID=\"y\"", L"y"},
        {L"INSTALLATION_ID=\"" + huge + L"\"", huge},
        {L"installation_id=1 X=2", std::nullopt},
        {L"", std::nullopt}};
    for (const auto& [arguments, value] : cases) {
        OstravelInstallerCmdLine commandLine;
        ASSERT_TRUE(commandLine.parse({L"program", L"-a", arguments}));
        EXPECT_EQ(commandLine.getInstallerProperty(L"INSTALLATION_ID"), value);
    }
}
