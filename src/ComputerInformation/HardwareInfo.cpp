#include "ComputerInformation/HardwareInfo.h"

#include "ComputerInformation/OsVersionInfo.h"
#include "libkelvane/RegKey.h"
#include "libkelvane/UserLog.h"
#include "libkelvane/hash/wincrypt.h"
#include "libwin32/Text.h"
#include "libwin32/Win32Error.h"
#include "libwin32/Wql.h"

#include <cpuid.h>

#include <algorithm>
#include <array>

namespace kelvane {
namespace {

using win32::TraceLevel;

constexpr std::array<std::uint32_t, 7> laptopChassis{8, 9, 10, 14, 30, 31, 32};
constexpr std::array<std::uint32_t, 3> desktopChassis{3, 4, 7};
constexpr std::array<std::uint32_t, 2> silentChassis{1, 2}; // other, unknown
constexpr BYTE highestFlagOfABattery = 8;
constexpr unsigned int cpuidHypervisorBit = 1U << 31;

bool contains(const auto& codes, std::uint32_t code) { return std::ranges::find(codes, code) != codes.end(); }

// The identifiers that make the machine's id, in a fixed order; one that the machine does not have is left out.
class Identifiers {
public:
    void add(std::wstring_view description, const std::optional<std::wstring>& value) {
        if (!value) return;
        userLog(TraceLevel::Verbose, win32::formatText(L"%s: %s", description, *value));
        values_.push_back(*value);
    }
    const std::vector<std::wstring>& values() const { return values_; }

private:
    std::vector<std::wstring> values_;
};

std::optional<std::wstring> registryText(std::wstring_view path, std::wstring_view valueName) {
    try {
        const RegKey key(HKEY_LOCAL_MACHINE, path, KEY_WOW64_64KEY);
        key.open(KEY_READ);
        return key.readString(valueName);
    } catch (const win32::NotFoundError&) {
        return std::nullopt;
    }
}

std::wstring deriveMachineUid() {
    Identifiers identifiers;
    const win32::Wql wql;
    for (const auto& product : wql.query(L"SELECT * FROM Win32_ComputerSystemProduct")) {
        identifiers.add(L"Identifying number", product.text(L"IdentifyingNumber"));
        identifiers.add(L"Built in UUID", product.text(L"UUID"));
    }
    identifiers.add(L"Machine GUID", registryText(L"SOFTWARE\\Microsoft\\Cryptography", L"MachineGuid"));
    identifiers.add(L"Hyper-V VM id",
                    registryText(L"SOFTWARE\\Microsoft\\Virtual Machine\\Guest\\Parameters", L"VirtualMachineId"));
    return hash::sha1OfTexts(identifiers.values());
}

std::optional<DeviceType> typeByChassis() {
    const win32::Wql wql;
    for (const auto& enclosure : wql.query(L"SELECT ChassisTypes FROM Win32_SystemEnclosure")) {
        const auto codes = enclosure.numbers(L"ChassisTypes");
        if (const auto type = deviceTypeOfChassis(codes)) return type;
        if (std::ranges::any_of(codes, [](auto code) { return contains(silentChassis, code); })) break;
    }
    return std::nullopt;
}

DeviceType typeByBattery() {
    SYSTEM_POWER_STATUS status{};
    if (!GetSystemPowerStatus(&status)) {
        userLog(TraceLevel::Error, "GetSystemPowerStatus failed");
        return DeviceType::Desktop;
    }
    return status.BatteryFlag <= highestFlagOfABattery ? DeviceType::Laptop : DeviceType::Desktop;
}

std::optional<bool> hypervisorByWmi() {
    const win32::Wql wql;
    for (const auto& system : wql.query(L"SELECT * FROM Win32_ComputerSystem"))
        return system.flag(L"HypervisorPresent");
    return std::nullopt;
}

bool hypervisorByCpuid() {
    unsigned int eax = 0;
    unsigned int ebx = 0;
    unsigned int ecx = 0;
    unsigned int edx = 0;
    return __get_cpuid(1, &eax, &ebx, &ecx, &edx) != 0 && (ecx & cpuidHypervisorBit) != 0;
}

// The function's answer; one that throws is logged and counts as none.
template <class Function>
auto answerOrNothing(Function function) noexcept -> decltype(function()) {
    try {
        return function();
    } catch (const std::exception& error) {
        userLog(TraceLevel::Error, error.what());
        return std::nullopt;
    }
}

} // namespace

std::optional<std::wstring> GetMachineUid() noexcept {
    return answerOrNothing([]() -> std::optional<std::wstring> { return deriveMachineUid(); });
}

std::optional<DeviceType> deviceTypeOfChassis(const std::vector<std::uint32_t>& chassisCodes) {
    for (const std::uint32_t code : chassisCodes) {
        // Laptop codes come first: a machine that reports both kinds can be carried.
        if (contains(laptopChassis, code)) return DeviceType::Laptop;
        if (contains(desktopChassis, code)) return DeviceType::Desktop;
        if (contains(silentChassis, code)) return std::nullopt;
    }
    return std::nullopt;
}

DeviceType GetDeviceType() noexcept {
    switch (systemProductType()) {
    case ProductType::DomainController:
        return DeviceType::DomainController;
    case ProductType::Server:
        return DeviceType::Server;
    case ProductType::Workstation:
        break;
    }
    if (const auto type = answerOrNothing(typeByChassis)) return *type;
    userLog(TraceLevel::Verbose, "The chassis does not tell the device type");
    return typeByBattery();
}

bool IsVirtualMachine() noexcept {
    static const bool virtualMachine = answerOrNothing(hypervisorByWmi).value_or(false) || hypervisorByCpuid();
    return virtualMachine;
}

} // namespace kelvane
