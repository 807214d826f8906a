// acceptance.exe [--launcher PATH] [GoogleTest's options]: runs the items, shows a table, leaves results\.
#include "Machine.h"
#include "libkelvane/FileUtilities.h"

#include <shlobj.h>

#include <format>
#include <iostream>

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
            if (part.skipped()) write(std::format("             {}\n", part.message()));
            if (part.failed()) write(std::format("             line {}: {}\n", part.line_number(), part.message()));
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
        kelvane::FileUtilities::writeFile(results() / L"table.txt", table_);
    }

    std::string table_;
};

bool machineIsFree() {
    return installedAgents().empty() && !kelvane::FileUtilities::exists(baseFolder()) &&
           !kelvane::FileUtilities::exists(work());
}

int refuse(const char* why) {
    std::cerr << "acceptance: " << why << '\n';
    return 2;
}

int runItems() {
    auto& listeners = testing::UnitTest::GetInstance()->listeners();
    delete listeners.Release(listeners.default_result_printer());
    listeners.Append(new Table);
    const int code = RUN_ALL_TESTS();
    putBack();
    return code;
}

} // namespace

int wmain(int count, wchar_t** arguments) {
    kelvane::FileUtilities::createDirectories(results());
    GTEST_FLAG_SET(output, "xml:" + (results() / "junit.xml").string());
    testing::InitGoogleTest(&count, arguments);
    for (int i = 1; i < count; ++i) {
        const std::wstring_view option = arguments[i];
        if (option == L"--launcher" && i + 1 < count) {
            useLauncher(arguments[++i]);
        } else {
            return refuse("unknown option");
        }
    }
    if (!IsUserAnAdmin()) return refuse("start it as administrator");
    if (!machineIsFree()) return refuse("an agent, or what an earlier call has left, is on this machine");
    return runItems();
}
