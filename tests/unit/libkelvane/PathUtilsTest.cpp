#include "libkelvane/PathUtils.h"

#include <gtest/gtest.h>

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

TEST(PathUtils, LongPrefixTakesNormalDriveAbsolutePathsOnly) {
    EXPECT_EQ(PathUtils::longPath(L"C:\\a\\.\\b/..\\c").native(), L"\\\\?\\C:\\a\\c");
    for (const auto* path : {L"\\\\?\\C:\\a", L"\\\\server\\share", L"a\\b"})
        EXPECT_EQ(PathUtils::longPath(path).native(), path);
    EXPECT_EQ(PathUtils::expandEnvironment(L"%NoSuchVariable%|" + std::wstring(300, L'x')).size(), 317u);
    EXPECT_TRUE(PathUtils::devicePathOfDrive(L'C').starts_with(L"\\Device\\"));
}
