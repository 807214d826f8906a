#include "SharedLib/AgentPaths.h"

#include <gtest/gtest.h>

using kelvane::AgentVersion;

TEST(AgentPaths, VersionIsFoundInEitherFormOfFolder) {
    const std::wstring longText(100'000, L'1');
    const std::pair<std::wstring, std::optional<AgentVersion>> cases[] = {
        {L"C:\\Program Files\\Ostravel\\Kelvane Agent 23.3.1.5\\KelvaneAgent.exe", AgentVersion{23, 3, 1, 5}},
        {L"D:\\Ostravel\\1.2.3.4\\lib.dll", AgentVersion{1, 2, 3, 4}},
        {L"D:\\Ostravel\\9.9.9.9\\Kelvane Agent 1.2.3.4\\config", AgentVersion{1, 2, 3, 4}},
        {L"\\Kelvane Agent new\\Kelvane Agent 1.2.3.4.5 x", AgentVersion{1, 2, 3, 4}},
        {L"\\Kelvane Agent 1.2.3\\Ostravel\\5.6.7.8", AgentVersion{5, 6, 7, 8}},
        // The first expression matches; that its numbers are too large does not lead to the second.
        {L"\\Kelvane Agent 1.2.3.65536\\Ostravel\\5.6.7.8", std::nullopt},
        {L"Kelvane Agent 1.2.3.4", std::nullopt},
        {L"\\kelvane agent 1.2.3.4", std::nullopt},
        {L"\\Kelvane Agent " + longText + L".2.3.4", std::nullopt},
        {L"", std::nullopt}};
    for (const auto& [path, version] : cases)
        EXPECT_EQ(kelvane::versionFromAgentPath(path), version);
}

TEST(AgentVersion, ShortOnesAreFilledAndPartsAreNumbers) {
    EXPECT_EQ(kelvane::parseShortAgentVersion(L"23.4"), (AgentVersion{23, 4, 0, 0}));
    EXPECT_FALSE(kelvane::parseAgentVersion(L"1.2.3.65536") || kelvane::parseAgentVersion(L"1.2.3.4 "));
    EXPECT_LT((AgentVersion{23, 2, 9, 9}), (AgentVersion{23, 10, 0, 0}));
}

TEST(AgentPaths, OnlyWhatLiesBelowProgramFilesIsTaken) {
    const std::pair<const wchar_t*, bool> cases[] = {{L"C:\\program files\\Ostravel\\1.2.3.4\\a.tlb", true},
                                                     {L"\\\\?\\C:\\Program Files\\Ostravel\\a.tlb", true},
                                                     {L"C:\\Program Files\\..\\Users\\Ostravel\\1.2.3.4\\a.tlb", false},
                                                     {L"C:\\Program FilesX\\Ostravel\\1.2.3.4\\a.tlb", false},
                                                     {L"\\\\server\\C:\\Program Files\\a.tlb", false},
                                                     {L"C:\\ProgramData\\Ostravel\\1.2.3.4", false}};
    for (const auto& [path, below] : cases)
        EXPECT_EQ(kelvane::isBelowProgramFiles(path), below) << path;
}

TEST(AgentPaths, ServiceImagePathsNameTheirProgram) {
    const std::pair<const wchar_t*, const wchar_t*> cases[] = {
        {L"C:\\Program Files\\A\\a.exe", L"C:\\Program Files\\A\\a.exe"},
        {L"C:\\Program Files\\A\\a.EXE -k C:\\b.exe", L"C:\\Program Files\\A\\a.EXE"},
        {L"  \"C:\\Program Files\\A\\a.exe\" -k", L"C:\\Program Files\\A\\a.exe"},
        {L"\"C:\\unclosed\\a.exe", L"C:\\unclosed\\a.exe"},
        {L"\\??\\C:\\A\\a.sys", L"C:\\A\\a.sys"},
        {L"\\systemroot\\a.sys", L"C:\\windows\\a.sys"},
        {L"%SystemRoot%\\a.exe /x", L"C:\\windows\\a.exe"},
        {L"", L""}};
    for (const auto& [imagePath, program] : cases)
        EXPECT_EQ(kelvane::programOfImagePath(imagePath), std::filesystem::path(program));
}
