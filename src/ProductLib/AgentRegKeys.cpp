#include "ProductLib/AgentRegKeys.h"

#include "ProductLib/InstallerEvents.h"
#include "libkelvane/UserLog.h"
#include "libwin32/Text.h"
#include "libwin32/Win32Error.h"

namespace kelvane::AgentRegKeys {

RegKey agentKey() { return {HKEY_LOCAL_MACHINE, agent, KEY_WOW64_64KEY}; }

std::optional<std::filesystem::path> agentProgramFolder() {
    const RegKey key = agentKey();
    const char* event = "AgentRegistryKeyInaccessible";
    auto message = win32::formatText(L"Failed to access Kelvane Agent registry key [%S]", win32::toUtf8(key.name()));
    try {
        key.open(KEY_QUERY_VALUE);
        event = "AgentProgramFolderUnknown";
        message = win32::formatText(L"Failed to get Kelvane In-Process Client location [%S]",
                                    win32::toUtf8(key.name().append(L"\\").append(inProcessClientsDir)));
        return key.readString(inProcessClientsDir);
    } catch (const win32::Win32Error& error) {
        bst::logEvent(failureLevel(error), event, {{"Message", message}, {"ErrorMsg", error.what()}});
        return std::nullopt;
    }
}

} // namespace kelvane::AgentRegKeys
