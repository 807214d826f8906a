// The event trace, with Windows's own tools.
#include "Acceptance.h"
#include "libwin32/AdministratorsOnly.h"
#include "libwin32/CommandLine.h"

using namespace acceptance;

namespace {

struct Logs : Item {};

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

TEST_F(Logs, LogmanTakesAnExistingFile) {
    settles("open question: logman create -o takes a file that exists, keeps its entries, and stop -fd succeeds");
    NEEDS_WINDOWS("has no logman");
    std::filesystem::create_directories(work());
    const auto file = work() / L"existing.etl";
    win32::createFileForAdministrators(file.c_str());
    ASSERT_EQ(strangersAt(file), L"");
    EXPECT_NO_THROW(command(L"logman.exe",
                            L"create trace OstravelAcceptance -o " + win32::quoteIfNeeded(file.native()) + L" -ets"));
    EXPECT_EQ(strangersAt(file), L"") << "while the session writes it";
    EXPECT_NO_THROW(command(L"logman.exe", L"stop OstravelAcceptance -fd -ets"));
    EXPECT_EQ(strangersAt(file), L"") << "afterwards";
    EXPECT_GT(files::readFile(file).size(), 0U);
}

} // namespace
