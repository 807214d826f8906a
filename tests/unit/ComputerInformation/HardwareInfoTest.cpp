#include "ComputerInformation/HardwareInfo.h"
#include "ComputerInformation/NetworkInfo.h"
#include "ComputerInformation/OsVersionInfo.h"

#include <gtest/gtest.h>

using namespace kelvane;

TEST(HardwareInfo, ChassisCodesAreWalkedInTheirOrder) {
    const std::pair<std::vector<std::uint32_t>, std::optional<DeviceType>> cases[] = {
        {{3, 10}, DeviceType::Desktop}, {{10, 3}, DeviceType::Laptop},
        {{99, 32}, DeviceType::Laptop}, {{2}, std::nullopt},
        {{1, 10}, std::nullopt},        {{}, std::nullopt}};
    for (const auto& [codes, type] : cases)
        EXPECT_EQ(deviceTypeOfChassis(codes), type);
}

TEST(NetworkInfo, ReadsAdaptersOfTheKnownTypes) {
    for (const auto& adapter : networkAdapters())
        EXPECT_TRUE(!adapter.type.empty() && adapter.macAddress.size() == 17) << adapter.macAddress;
    for (const auto& [number, name] : {std::pair{6U, "wired"}, {71U, "wireless"}, {243U, "cellular"}, {24U, ""}})
        EXPECT_EQ(adapterTypeName(number), name);
}

TEST(OsVersionInfo, Windows11IsNamedSo) {
    const std::tuple<const wchar_t*, ProductType, std::uint32_t, const wchar_t*> cases[] = {
        {L"Windows 10 Pro", ProductType::Workstation, 22000, L"Windows 11 Pro"},
        {L"Windows 10 Pro", ProductType::Workstation, 19045, L"Windows 10 Pro"},
        {L"Windows 11 Home", ProductType::Workstation, 26100, L"Windows 11 Home"},
        {L"Windows Server 2025", ProductType::Server, 26100, L"Windows Server 2025"},
        {L"Windows 10 Enterprise multi-session", ProductType::Server, 22631, L"Windows 10 Enterprise multi-session"}};
    for (const auto& [registered, type, build, name] : cases)
        EXPECT_EQ(currentProductName(registered, type, build), name);
    EXPECT_EQ(systemBitness(), L"x64");
    EXPECT_EQ(bitnessName(5), L"Unknown");
}
