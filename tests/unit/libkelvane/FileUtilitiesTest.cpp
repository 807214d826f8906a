#include "libkelvane/FileUtilities.h"

#include "Support.h"
#include "libkelvane/FileStream.h"
#include "libkelvane/ProtectedDirectory.h"
#include "libkelvane/ProtectedFile.h"
#include "libkelvane/Utilities.h"
#include "libwin32/Win32Error.h"

#include <gtest/gtest.h>

#include <aclapi.h>
#include <sddl.h>

namespace fs = std::filesystem;
namespace FileUtilities = kelvane::FileUtilities;

// Wine keeps no more of an entry list than Unix permissions hold: there it is enough that nobody else is in it.
static void expectProtected(const fs::path& path) {
    constexpr DWORD parts = OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION;
    win32::UniqueSecurityDescriptor descriptor;
    win32::UniqueLocal<wchar_t> text;
    GetNamedSecurityInfoW(path.c_str(), SE_FILE_OBJECT, parts, nullptr, nullptr, nullptr, nullptr, descriptor.put());
    ConvertSecurityDescriptorToStringSecurityDescriptorW(descriptor.get(), SDDL_REVISION_1, parts, text.put(), nullptr);
    const std::wstring sddl = text.get() ? text.get() : L"";
    EXPECT_TRUE(sddl.starts_with(L"O:BAD:P(A;") || sddl.starts_with(L"O:S-1-5-21-0-0-0-1000D:(A;")) << sddl;
    for (const auto* other : {L";WD)", L";BU)", L";AU)", L";CO)"})
        EXPECT_EQ(sddl.find(other), sddl.npos) << sddl;
}

// A link as the host makes it, in the test's tree: Wine itself makes none, and removes none to a directory.
static void hostShell(const std::wstring& command, const fs::path& probe, bool expected) {
    kelvane::execute_throw(L"\"C:\\windows\\system32\\start.exe\" /wait /unix /bin/sh -c \"" + command +
                               L" $WINEPREFIX/drive_c/windows/temp/OstravelTests/tree/link\"",
                           {}, 20000);
    // The host's own process is not waited for.
    for (int i = 0; i < 2000 && FileUtilities::exists(probe) != expected; ++i)
        Sleep(10);
}

TEST(FileUtilities, DeletesTreesDeeperThanAnyShortPath) {
    const support::Folder top;
    fs::path deepest = top / L"tree";
    for (int i = 0; i < 40; ++i)
        deepest /= L"folder with a long name \x4e2d";
    FileUtilities::createDirectories(deepest);
    FileUtilities::writeFile(deepest / L"file", "x");
    FileUtilities::setFileAttributes(deepest / L"file", FILE_ATTRIBUTE_READONLY);
    EXPECT_GT(deepest.native().size(), 900u);
    EXPECT_EQ(FileUtilities::readFile(deepest / L"file"), "x");
    FileUtilities::copyDirectory(top / L"tree", top / L"copy");
    FileUtilities::deleteDirectory(top / L"tree");
    EXPECT_FALSE(FileUtilities::exists(top / L"tree"));
    EXPECT_TRUE(FileUtilities::isDirectory(top / L"copy"));
}

TEST(FileUtilities, LinksAreNotFollowed) {
    const support::Folder top;
    FileUtilities::createDirectories(top / L"victim");
    FileUtilities::createDirectories(top / L"tree" / L"other");
    FileUtilities::writeFile(top / L"victim" / L"file", "x");
    const auto linked = top / L"tree" / L"link" / L"file";
    hostShell(L"ln -s ../victim", linked, true);
    ASSERT_TRUE(FileUtilities::exists(linked));
    FileUtilities::copyDirectory(top / L"tree", top / L"copy");
    EXPECT_FALSE(FileUtilities::exists(top / L"copy" / L"link"));
    FileUtilities::deleteDirectoryNoThrow(top / L"tree");
    EXPECT_TRUE(FileUtilities::exists(top / L"victim" / L"file"));
    EXPECT_FALSE(FileUtilities::exists(top / L"tree" / L"other"));
    hostShell(L"rm -f", linked, false);
}

TEST(FileUtilities, ProtectedDirectoriesAreNewAndForAdministratorsOnly) {
    const support::Folder top;
    const auto place = top / L"protected";
    FileUtilities::createDirectories(place / L"planted");
    FileUtilities::writeFile(place / L"planted" / L"file", "x");
    FileUtilities::createProtectedDirectory(place);
    EXPECT_FALSE(FileUtilities::exists(place / L"planted"));
    expectProtected(place);

    FileUtilities::writeFile(top / L"file", "planted");
    EXPECT_THROW(FileUtilities::readFile(top / L"file", 3), win32::Win32Error);
    {
        const kelvane::ProtectedFile file(top / L"file");
        file.write("ours");
        EXPECT_EQ(kelvane::sizeOf(file.handle()), 4u);
        EXPECT_FALSE(DeleteFileW((top / L"file").c_str()) || MoveFileW((top / L"file").c_str(), L"C:\\x"));
        expectProtected(top / L"file");
    }
    EXPECT_FALSE(FileUtilities::exists(top / L"file"));

    FileUtilities::createDirectories(top / L"held" / L"planted");
    {
        const auto held = FileUtilities::createHeldDirectory(top / L"held");
        EXPECT_TRUE(std::filesystem::equivalent(held.path, top / L"held"));
        EXPECT_FALSE(FileUtilities::exists(top / L"held" / L"planted"));
        EXPECT_FALSE(MoveFileW((top / L"held").c_str(), L"C:\\x"));
        expectProtected(held.path);
    }
    FileUtilities::writeFile(top / L"file", "in the way");

    EXPECT_TRUE(FileUtilities::createProtectedDirectories(top / L"a" / L"b" / L""));
    expectProtected(top / L"a");
    EXPECT_FALSE(FileUtilities::createProtectedDirectories(top / L"a" / L"b"));
    EXPECT_THROW(FileUtilities::createProtectedDirectories(top / L"file"), win32::Win32Error);
}
