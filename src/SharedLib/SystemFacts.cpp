#include "SharedLib/HostFacts.h"

#include "ProductLib/AgentRegKeys.h"
#include "libkelvane/PathUtils.h"
#include "libwin32/Handles.h"
#include "libwin32/Text.h"
#include "libwin32/Win32Error.h"

// clang-format off
#include <windows.h>
#include <versionhelpers.h>
// clang-format on

namespace kelvane::system_requirements {

bool SystemFacts::isWindows7Sp1OrGreater() const { return IsWindows7SP1OrGreater(); }

WindowsVersion SystemFacts::windowsVersion() const { return kelvane::windowsVersion(); }

std::uint64_t SystemFacts::physicalMemoryBytes() const {
    MEMORYSTATUSEX status{};
    status.dwLength = sizeof(status);
    win32::check(GlobalMemoryStatusEx(&status), "GlobalMemoryStatusEx");
    return status.ullTotalPhys;
}

bool SystemFacts::agentKeyOpens() const { return AgentRegKeys::agentKey().exists(); }

std::filesystem::path SystemFacts::programFiles() const { return PathUtils::programFiles(); }

std::filesystem::path SystemFacts::programData() const { return PathUtils::programData(); }

std::filesystem::path SystemFacts::windowsDirectory() const { return PathUtils::windowsDirectory(); }

std::filesystem::path SystemFacts::catalogDatabases() const {
    return PathUtils::expandEnvironment(L"%windir%\\System32\\catroot2");
}

bool SystemFacts::kernelExportsAddDllDirectory() const {
    const HMODULE kernel = GetModuleHandleW(L"kernel32.dll");
    return kernel && GetProcAddress(kernel, "AddDllDirectory");
}

bool SystemFacts::cryptExportsStrongHashCheck() const {
    const auto path = PathUtils::systemDirectory() / "crypt32.dll";
    const win32::UniqueModule crypt(LoadLibraryExW(path.c_str(), nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32));
    return crypt && GetProcAddress(crypt.get(), "CertIsStrongHashToSign");
}

} // namespace kelvane::system_requirements
