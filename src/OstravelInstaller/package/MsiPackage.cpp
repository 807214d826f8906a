#include "OstravelInstaller/package/MsiPackage.h"

#include "ProductLib/AgentRegKeys.h"
#include "ProductLib/InstallerEvents.h"
#include "libwin32/ComPtr.h"
#include "libwin32/MsiHandle.h"
#include "libwin32/Win32Error.h"

#include <windows.h>

#include <msi.h>
#include <msiquery.h>

#include <stdexcept>

namespace kelvane::bst {
namespace {

using win32::UniqueMsi;

void checkMsi(UINT result, const char* call) {
    if (result != ERROR_SUCCESS) win32::throwWin32(call, result);
}

std::optional<std::uint32_t> agentNumber(std::wstring_view valueName) {
    const RegKey key = AgentRegKeys::agentKey();
    if (!key.valueExists(valueName)) return std::nullopt;
    try {
        return key.readDword(valueName);
    } catch (const win32::Win32Error& error) {
        logEvent(LogLevel::Error, "AgentRegistryValueUnreadable", {{"ErrorMsg", error.what()}});
        return std::nullopt;
    }
}

} // namespace

AgentVersion packageProductVersion(const std::filesystem::path& package) {
    const win32::ComInitializer com;
    if (!com.usable()) {
        logEvent(LogLevel::Error, "PackageProductVersion",
                 {{"ErrorMsg", "Failed to initialize COM for the current thread"}, {"HResult", com.result()}});
    }
    UniqueMsi product;
    checkMsi(MsiOpenPackageW(package.c_str(), product.put()), "MsiOpenPackageW");
    wchar_t text[64]; // the longest version has 23 characters
    DWORD length = 64;
    checkMsi(MsiGetProductPropertyW(product.get(), L"ProductVersion", text, &length), "MsiGetProductPropertyW");
    const auto version = parseShortAgentVersion({text, length});
    if (!version) throw std::runtime_error("The package's ProductVersion is no version");
    return *version;
}

void checkPackageReadable(const std::filesystem::path& package) {
    UniqueMsi database;
    checkMsi(MsiOpenDatabaseW(package.c_str(), MSIDBOPEN_READONLY, database.put()), "MsiOpenDatabaseW");
}

PackageMarks readPackageMarks() {
    return {agentNumber(AgentRegKeys::msiFailureReason),
            agentNumber(AgentRegKeys::removeExistingProductsMark).value_or(0) != 0};
}

bool deletePackageMarks() noexcept {
    try {
        RegKey key = AgentRegKeys::agentKey();
        for (const auto mark : {AgentRegKeys::msiFailureReason, AgentRegKeys::removeExistingProductsMark}) {
            if (key.valueExists(mark)) key.deleteValue(mark);
        }
        return true;
    } catch (const std::exception& error) {
        logEvent(LogLevel::Error, "DeletingPackageMarksFailed", {{"ErrorMsg", error.what()}});
        return false;
    }
}

} // namespace kelvane::bst
