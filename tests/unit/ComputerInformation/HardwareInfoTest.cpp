#include "ComputerInformation/HardwareInfo.h"
#include "ComputerInformation/NetworkInfo.h"

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
