#pragma once

#include "libkelvane/RegKey.h"

#include <filesystem>
#include <optional>
#include <string_view>

// The registry keys, values and services that belong to the agent, all under HKEY_LOCAL_MACHINE.
namespace kelvane::AgentRegKeys {

inline constexpr std::wstring_view product = L"SOFTWARE\\Ostravel";
inline constexpr std::wstring_view maker = L"SOFTWARE\\Dravenholt";
inline constexpr std::wstring_view setup = L"SOFTWARE\\Ostravel\\Setup";
inline constexpr std::wstring_view agentService = L"SYSTEM\\CurrentControlSet\\Services\\KelvaneAgent";
inline constexpr std::wstring_view monitorService = L"SYSTEM\\CurrentControlSet\\Services\\KelvaneMonitor";
inline constexpr std::wstring_view staticEngineService = L"SYSTEM\\CurrentControlSet\\Services\\KelvaneStaticEngine";
inline constexpr std::wstring_view deviceControlService = L"SYSTEM\\CurrentControlSet\\Services\\KelvaneDeviceControl";
inline constexpr std::wstring_view helperService = L"SYSTEM\\CurrentControlSet\\Services\\KelvaneHelperService";
inline constexpr std::wstring_view elamService = L"SYSTEM\\CurrentControlSet\\Services\\KelvaneELAM";
inline constexpr std::wstring_view logProcessorService = L"SYSTEM\\CurrentControlSet\\Services\\LogProcessorService";
inline constexpr std::wstring_view obliteratorService = L"SYSTEM\\CurrentControlSet\\Services\\KelvaneObliterator";

// The agent's own key, what it holds (values unless said otherwise), and who writes and reads it.
inline constexpr std::wstring_view agent = L"SOFTWARE\\Ostravel\\Agent";
inline constexpr std::wstring_view agentConfig = L"SOFTWARE\\Ostravel\\Agent\\Config"; // a subkey, with MgmtLastSeen
inline constexpr std::wstring_view instances = L"Instances";                           // the name of a subkey
inline constexpr std::wstring_view inProcessClientsDir = L"InProcessClientsDir";       // program folder
inline constexpr std::wstring_view configBaseDir = L"ConfigBaseDir";                   // configuration directory
inline constexpr std::wstring_view agentNativePath = L"AgentNativePath";               // program folder, NT form
inline constexpr std::wstring_view agentDataNativePath = L"AgentDataNativePath";       // data folder, NT form
inline constexpr std::wstring_view mgmtLastSeen = L"MgmtLastSeen";                     // 8 bytes, a time stamp
inline constexpr std::wstring_view msiProductCode = L"MSIProductCode";                 // of the installed product
inline constexpr std::wstring_view msiFailureReason = L"MsiFailureReason";             // REG_DWORD, by the package
inline constexpr std::wstring_view removeExistingProductsMark = L"RemoveExistingProductsMark"; // as above

// The agent's own key in the 64-bit view.
RegKey agentKey();

// The agent's program folder, InProcessClientsDir; none, logged, when the key or the value cannot be read.
std::optional<std::filesystem::path> agentProgramFolder();

} // namespace kelvane::AgentRegKeys
