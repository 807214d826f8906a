#include "libkelvane/PathUtils.h"

#include <gtest/gtest.h>

#include <tuple>

namespace PathUtils = kelvane::PathUtils;

TEST(PathUtils, OnlyDriveAbsoluteAndDevicePathsAreValid) {
    for (const auto* path : {L"D:\\Data", L"D:/Data", L"D:\\", L"\\\\?\\C:\\Data", L"\\Device\\HarddiskVolume3\\Data",
                             L"C:\\D\x00f6rfer \x4e2d"})
        EXPECT_TRUE(PathUtils::isPathValid(path)) << path;
    for (const auto* path : {L"", L"D:", L"D:Data", L"Data", L"\\Data", L"\\\\server\\share", L"C:\\a?b", L"C:\\a*",
                             L"C:\\a|b", L"C:\\\"a\"", L"\\\\?\\", L"\\\\?\\C:\\a<b", L"\\\\?\\C:\\a/b", L"\\Device",
                             L"\\\\?\\UNC\\server\\share", L"1:\\a"})
        EXPECT_FALSE(PathUtils::isPathValid(path)) << path;
}

TEST(PathUtils, FullPathsAndThePrefixOfLongOnes) {
    // As given; seen from C:\windows\system32 with D: not visited yet; with the prefix.
    const std::tuple<const wchar_t*, const wchar_t*, const wchar_t*> cases[] = {
        {LR"(C:\a\.\b/..\c)", LR"(C:\a\c)", LR"(\\?\C:\a\c)"},
        {LR"(..\b)", LR"(C:\windows\b)", LR"(\\?\C:\windows\b)"},
        {LR"(C:b)", LR"(C:\windows\system32\b)", LR"(\\?\C:\windows\system32\b)"},
        {LR"(D:b)", LR"(D:\b)", LR"(\\?\D:\b)"},
        {LR"(\b)", LR"(C:\b)", LR"(\\?\C:\b)"},
        {LR"(\\server\share\a\..\b)", LR"(\\server\share\b)", LR"(\\?\UNC\server\share\b)"},
        {LR"(//server/share/b)", LR"(\\server\share\b)", LR"(\\?\UNC\server\share\b)"},
        {LR"(\\?\C:\a)", LR"(C:\a)", LR"(\\?\C:\a)"},
        {LR"(\\?\unc\server\share\a)", LR"(\\server\share\a)", LR"(\\?\UNC\server\share\a)"},
        {LR"(\\.\pipe\a)", LR"(\\.\pipe\a)", LR"(\\.\pipe\a)"},
        {L"", L"", L""}};
    std::filesystem::current_path(PathUtils::systemDirectory());
    for (const auto& [given, full, prefixed] : cases) {
        EXPECT_EQ(PathUtils::fullPath(given).native(), full);
        EXPECT_EQ(PathUtils::longPath(full).native(), prefixed);
        EXPECT_EQ(PathUtils::withoutLongPrefix(prefixed).native(), full);
        EXPECT_EQ(PathUtils::isAbsolute(prefixed) && PathUtils::isAbsolute(full), *full != L'\0' && full[2] != L'.');
    }
    for (const auto* path : {LR"(\\?\Volume{1}\a)", LR"(a\b)"}) {
        EXPECT_EQ(PathUtils::longPath(path).native(), path);
        EXPECT_EQ(PathUtils::withoutLongPrefix(path).native(), path);
    }
    EXPECT_EQ(PathUtils::expandEnvironment(L"%NoSuchVariable%|" + std::wstring(300, L'x')).size(), 317u);
    EXPECT_TRUE(PathUtils::devicePathOfDrive(L'C').starts_with(L"\\Device\\"));
}
