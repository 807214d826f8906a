// The event trace, with Windows's own tools.
#include "Acceptance.h"
#include "libwin32/AdministratorsOnly.h"
#include "libwin32/CommandLine.h"

using namespace acceptance;

namespace {

struct LogCase {
    const char* name;
    const char* question;
    std::wstring arguments;
    std::vector<std::string_view> events;
};

using Decoded = ItemOf<LogCase>;

TEST_P(Decoded, Events) {
    settles(GetParam().question);
    const auto ended = run(L"-q " + tokenOption() + GetParam().arguments);
    EXPECT_EQ(ended.code, 0U);
    EXPECT_FALSE(ended.log.empty());
    EXPECT_TRUE(ended.says(GetParam().events)) << ended.text.substr(0, 1000);
    EXPECT_EQ(sessions().size(), 0U);
}

ITEMS(Decoded,
      LogCase{"FirstToLast",
              "the decoded log (on Windows: by tracerpt) holds the first and the last event; no session is left",
              L"",
              {"Hello From OstravelInstaller!", "executeInstallerCommand", "OstravelInstaller Done"}},
      LogCase{"LongArguments",
              "4,100 characters of -a cost neither the first event nor the command",
              L" -a X=" + std::wstring(4098, L'x'),
              {"Hello From OstravelInstaller!", "xxxxxxxx", "executeInstallerCommand", "xxxxxxxx",
               "OstravelInstaller Done"}});

struct Question {
    const char* name;
    const char* question;
    bool existing;
    const wchar_t* stop;
};
using Logman = ItemOf<Question>;

TEST_P(Logman, OpenQuestion) {
    settles(GetParam().question);
    NEEDS_WINDOWS("has no logman");
    files::createDirectories(work());
    const auto file = work() / L"new.etl";
    const auto strangers = [&] { return GetParam().existing ? strangersAt(file) : L""; };
    if (GetParam().existing) win32::createFileForAdministrators(file.c_str());
    ASSERT_EQ(strangers(), L"");
    command(L"logman.exe", L"create trace OstravelAcceptance -ets -o " + win32::quoteIfNeeded(file.native()));
    EXPECT_EQ(strangers(), L"") << "while the session writes it";
    EXPECT_NO_THROW(command(L"logman.exe", GetParam().stop));
    EXPECT_EQ(strangers(), L"") << "afterwards";
    EXPECT_GT(files::readFile(file).size(), 0U);
    EXPECT_EQ(sessions().size(), 0U);
}

ITEMS(Logman,
      Question{"ExistingFile", "open: logman create -o takes a file that exists, and its owner and entries stay", true,
               L"stop OstravelAcceptance -ets"},
      Question{"StopWithFlush", "open: logman stop -fd -ets ends a session", false,
               L"stop OstravelAcceptance -fd -ets"});

} // namespace
