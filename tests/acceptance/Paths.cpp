// Working directories, jobs and systems of other kinds than usual.
#include "Acceptance.h"
#include "libwin32/Win32Error.h"

using namespace acceptance;

namespace {

struct Place {
    const char* name;
    const char* question;
    std::wstring path;
    DWORD code;
};

std::wstring longPath() {
    auto path = work().native();
    while (path.size() < 380)
        path += L"\\" + std::wstring(38, L'x');
    return path + L"\\TempPathItem";
}

using TempPath = ItemOf<Place>;

TEST_P(TempPath, IsMadeAndRemoved) {
    settles(GetParam().question);
    // Windows Installer takes no package from a path that long: the run without a token ends before it.
    const auto& [name, question, path, code] = GetParam();
    const auto ended = run(L"-q --temp_path \"" + path + L"\" " + (code == 0 ? tokenOption() : L""));
    EXPECT_EQ(ended.code, code);
    EXPECT_FALSE(files::exists(path));
    EXPECT_TRUE(ended.says({"ExtractingResources", "TempPathItem"}));
}

ITEMS(TempPath,
      Place{"Unicode", "a --temp_path with blanks and letters of any script",
            work() / L"Ablage für 日本 Δ" / L"TempPathItem", 0},
      Place{"Prefixed", "a --temp_path with the prefix \\\\?\\", L"\\\\?\\" + (work() / L"TempPathItem").native(), 0},
      Place{"Long", "a --temp_path of 400 characters is made, filled and removed", longPath(), 2008});

struct JobCase {
    const char* name;
    const char* question;
    DWORD uiLimits; // a job with limits of this kind cannot be nested
};

// Whether a process in the job can be put into another one as well.
bool nestsIn(HANDLE job) {
    std::wstring line = L"cmd.exe /c exit";
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION child{};
    win32::check(CreateProcessW((paths::systemDirectory() / L"cmd.exe").c_str(), line.data(), nullptr, nullptr, FALSE,
                                CREATE_SUSPENDED | CREATE_NO_WINDOW, nullptr, nullptr, &startup, &child),
                 "CreateProcess");
    const win32::UniqueHandle process(child.hProcess);
    const win32::UniqueHandle thread(child.hThread);
    const win32::UniqueHandle inner(CreateJobObjectW(nullptr, nullptr));
    const bool nested =
        AssignProcessToJobObject(job, child.hProcess) && AssignProcessToJobObject(inner.get(), child.hProcess);
    TerminateProcess(child.hProcess, 0);
    return nested;
}

using AroundTheInstaller = ItemOf<JobCase>;

TEST_P(AroundTheInstaller, Job) {
    settles(GetParam().question);
    const win32::UniqueHandle job(CreateJobObjectW(nullptr, nullptr));
    JOBOBJECT_BASIC_UI_RESTRICTIONS limits{GetParam().uiLimits};
    if (limits.UIRestrictionsClass) {
        win32::check(SetInformationJobObject(job.get(), JobObjectBasicUIRestrictions, &limits, sizeof limits),
                     "SetInformationJobObject");
        if (nestsIn(job.get())) GTEST_SKIP() << (onWine() ? "Wine" : "This Windows") << " nests in such a job too";
    }
    const auto ended = run(L"-q " + tokenOption(), installer(), job.get());
    EXPECT_EQ(ended.code, 0U);
    EXPECT_TRUE(ended.says({"Hello From OstravelInstaller!", "OstravelInstaller Done"}));
}

ITEMS(AroundTheInstaller, JobCase{"Nesting", "inside a management tool's job it installs and logs", 0},
      JobCase{"NotNesting", "inside a job that allows no other in it, it installs and logs",
              JOB_OBJECT_UILIMIT_EXITWINDOWS});

struct Library {
    const char* name;
    const char* file;
    DWORD code;
};

using MissingLibrary = ItemOf<Library>;

TEST_P(MissingLibrary, IsAnErrorOfTheCall) {
    settles(
        "a library that the system lacks (its name changed in a copy of the program) ends the call, not the process");
    const std::string_view file = GetParam().file;
    auto image = files::readFile(installer());
    std::size_t found = 0;
    for (std::size_t at = 0; (at = image.find(file, at)) != image.npos; ++found)
        image[at] = 'Q';
    ASSERT_GT(found, 0U);
    const auto copy = work() / L"Changed" / L"OstravelInstaller.exe";
    files::createDirectories(copy.parent_path());
    files::writeFile(copy, image);
    const auto ended = run(L"-q " + tokenOption(), copy);
    EXPECT_EQ(ended.code, GetParam().code);
    EXPECT_EQ(resultFile(), std::to_string(GetParam().code));
}

ITEMS(MissingLibrary, Library{"winhttp", "winhttp.dll", 0}, Library{"version", "version.dll", 0},
      Library{"msi", "msi.dll", 2000});

} // namespace
