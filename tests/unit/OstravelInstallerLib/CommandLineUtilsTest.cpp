#include "OstravelInstallerLib/CommandLineUtils.h"
#include "OstravelInstallerLib/ArgumentNormalizer.h"
#include "OstravelInstallerLib/InstallerProperty.h"
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
    const std::vector<OptionName> declared{{"clean_only", "c", false},
                                           {"qn", "q", false},
                                           {"temp_path", "p", true},
                                           {"installer_arguments", "a", true},
                                           {"", "r", true},
                                           {"lm", "l", false},
                                           {"token", "t", true}};
    // Each line is taken apart at its bars.
    const std::tuple<std::string, std::string, bool> cases[] = {
        {"-clean_only|---clean_only|--clean_only|--c|-----c", "--clean_only|--clean_only|--clean_only|-c|-c", false},
        {"--q", "-q", true},
        {"-lq", "-l|-q", true},
        {"-xq|--unquiet|q|qn|--lq", "-xq|--unquiet|q|qn|--lq", false},
        {"-qt|x|-t|--unquiet", "-q|-t|x|-t|--unquiet", true},
        {"-lp|-q|-lp=a b|-cp c", "-l|-p|-q|-l|-p|a b|-c|-p|c", false},
        {"-pq|x", "-pq|x", true},
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
        {L"-f -- --clean_only", "Couldn't find match for argument"},
        {L"-t -- --tmd --", ""},
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
        {L"-t a\\\"b", "Couldn't read argument value from string 'a\"b'"},
        {L"-d \\\"", "Couldn't read argument value from string '\"'"},
        {L"--diagnostic_UID=a\\\"b", "Couldn't read argument value from string 'a\"b'"},
        {L"INSTALLATION_ID=\\\"b", "Couldn't read argument value from string '\"b'"},
        {L"--INSTALLATION_INITIATOR a\rb", "Couldn't read argument value from string 'a\rb'"},
        {L"--tmd \"a\nb\"", "Couldn't read argument value from string 'a\nb'"},
        {L"--ppc \"a\rb\"", "Couldn't read argument value from string 'a\rb'"},
        {L"--tmd a\\\"b --ppc a\\\"b --af \"a\nb\" -a \"A=\\\"b\nc\"", ""},
        {L"--dont_cleanstall --stateless_upgrade 1", ""},
        {L"-c -p \"\" -H -3 -v 2", ""}};
    for (const auto& [arguments, failure] : cases)
        EXPECT_EQ(failureOf(arguments), failure);
}

TEST(CommandLine, EmptyIdentifiersAreNotGivenAndPathsAreFull) {
    OstravelInstallerCmdLine commandLine;
    ASSERT_TRUE(commandLine.parse(support::words(LR"(-t "" -d "" --INSTALLATION_ID= --ppc "" -p a\..\b/c)")));
    const Options& options = commandLine.options();
    EXPECT_FALSE(options.fallback_site_token || options.diagnostics_site_token || options.INSTALLATION_ID);
    EXPECT_TRUE(options.ppc && options.temp_path && !options.alternative_installer_path);
    EXPECT_EQ(options.temp_path.value, (std::filesystem::current_path() / L"b" / L"c").native());
}

TEST(CommandLine, FindsInstallerProperties) {
    const std::wstring huge(30000, L'x');
    const std::pair<std::wstring, std::optional<std::wstring>> cases[] = {
        {L"INSTALLATION_ID=\"a b\" X=1", L"a b"},
        {L"INSTALLATION_ID=ab X=1", L"ab"},
        {L"INSTALLATION_ID=", L""},
        {L"INSTALLATION_ID=\"\" X", L""},
        {L"INSTALLATION_ID=\"a\" X=\"b\"", L"a"},
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

TEST(InstallerProperty, NoProxyPasswordIsLogged) {
    const std::pair<const wchar_t*, const wchar_t*> cases[] = {
        {L"x.exe -a SERVER_PROXY=http://u:p@h:1 A=b@c", L"x.exe -a SERVER_PROXY=http://h:1 A=b@c"},
        {L"x.exe -a \"SERVER_PROXY=http://u:p@h A=1\" -q", L"x.exe -a \"SERVER_PROXY=http://h A=1\" -q"},
        {LR"(-a "SERVER_PROXY=\"http://u:p w@h\" A=1")", LR"(-a "SERVER_PROXY=\"http://h\" A=1")"},
        {L"server_proxy=u:p@h SERVER_PROXY=\"pac,http://u:p@h/x\"", L"server_proxy=h SERVER_PROXY=\"pac,http://h/x\""},
        {L"SERVER_PROXY=", L"SERVER_PROXY="},
        {L"SERVER_PROXY=\"", L"SERVER_PROXY=\""},
        {L"x.exe -q", L"x.exe -q"}};
    for (const auto& [commandLine, logged] : cases)
        EXPECT_EQ(loggedCommandLine(commandLine), logged);
}
