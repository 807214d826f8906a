// acceptance.exe [--launcher PATH | --restart | --continue | --put-back] [GoogleTest's options]: runs the items, shows
// a table, leaves it with XML and logs in results.
#include "Acceptance.h"

#include <shlobj.h>

#include <format>
#include <iostream>
#include <vector>

using namespace acceptance;

namespace {

// One row as each item ends: what came of it, its name, what it settles, and why not.
class Table : public testing::EmptyTestEventListener {
    void OnTestEnd(const testing::TestInfo& test) override {
        const auto& result = *test.result();
        const char* state = result.Skipped() ? "not tried" : result.Passed() ? "passed" : "FAILED";
        write(std::format("{:<9}  {}.{}: {}\n", state, test.test_suite_name(), test.name(), question(result)));
        for (int i = 0; i < result.total_part_count(); ++i) {
            const auto& part = result.GetTestPartResult(i);
            std::string message = part.message();
            message.erase(message.find_last_not_of(" \r\n") + 1);
            if (part.skipped()) write(std::format("           {}\n", message));
            if (part.failed()) write(std::format("           {}: {}\n", part.line_number(), message));
        }
    }
    void OnTestProgramEnd(const testing::UnitTest& all) override {
        write(std::format("{} passed, {} failed, {} could not be tried\n", all.successful_test_count(),
                          all.failed_test_count(), all.skipped_test_count()));
    }

    static std::string question(const testing::TestResult& result) {
        for (int i = 0; i < result.test_property_count(); ++i) {
            if (result.GetTestProperty(i).key() == std::string_view("settles"))
                return result.GetTestProperty(i).value();
        }
        return {};
    }
    void write(const std::string& text) {
        std::cout << text << std::flush;
        table_ += text;
        files::writeFile(results() / L"table.txt", table_);
    }

    std::string table_;
};

bool machineIsFree() { return installedAgents().empty() && !files::exists(baseFolder()) && !files::exists(work()); }

int refuse(const char* why) {
    std::cerr << "acceptance: " << why << '\n';
    return 2;
}

int runItems(bool leave) {
    auto& listeners = testing::UnitTest::GetInstance()->listeners();
    delete listeners.Release(listeners.default_result_printer());
    listeners.Append(new Table);
    const int code = RUN_ALL_TESTS();
    if (leave) {
        std::cout << "Restart the machine, then: acceptance.exe --continue\n";
    } else {
        putBack();
    }
    return code;
}

} // namespace

int wmain(int count, wchar_t** arguments) {
    if (const auto code = runAsChild(count, arguments)) return *code;
    std::wstring_view mode;
    std::vector<wchar_t*> left{arguments[0]};
    for (int i = 1; i < count; ++i) {
        const std::wstring_view option = arguments[i];
        if (option == L"--launcher" && i + 1 < count) {
            useLauncher(arguments[++i]);
        } else if (option == L"--restart" || option == L"--continue" || option == L"--put-back") {
            mode = option;
        } else {
            left.push_back(arguments[i]);
        }
    }
    if (!IsUserAnAdmin()) return refuse("start it as administrator");
    if (mode == L"--put-back") return putBack(), 0;
    if (mode != L"--continue" && !machineIsFree()) {
        return refuse("an agent, or what an earlier call has left (acceptance.exe --put-back), is on this machine");
    }
    if (!mode.empty()) results() /= mode.substr(2);
    files::createDirectories(results());
    GTEST_FLAG_SET(output, "xml:" + (results() / "junit.xml").string());
    GTEST_FLAG_SET(filter, mode == L"--restart"    ? "BeforeRestart.*"
                           : mode == L"--continue" ? "AfterRestart.*"
                                                   : "-AfterRestart.*");
    left.push_back(nullptr);
    count = static_cast<int>(left.size()) - 1;
    testing::InitGoogleTest(&count, left.data());
    return count > 1 ? refuse("unknown option") : runItems(mode == L"--restart");
}
