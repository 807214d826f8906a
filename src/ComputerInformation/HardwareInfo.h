#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// What machine this is.
namespace kelvane {

// 40 lower-case hexadecimal characters, the same at every run on this machine; nothing when they cannot be derived
// (logged).
std::optional<std::wstring> GetMachineUid() noexcept;

enum class DeviceType : std::int32_t { Desktop = 0, Laptop = 1, Server = 2, DomainController = 3 };
// Servers and domain controllers by the operating system's product type, others by their chassis, else by their
// battery.
DeviceType GetDeviceType() noexcept;

// Desktop or laptop by SMBIOS chassis codes, in the order in which the system lists them; nothing when they do not
// tell.
std::optional<DeviceType> deviceTypeOfChassis(const std::vector<std::uint32_t>& chassisCodes);

// Asked of the system once per process.
bool IsVirtualMachine() noexcept;

} // namespace kelvane
