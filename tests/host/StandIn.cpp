// Stands in for msiexec.exe, or for a setup program in the payload: records its command line, leaves the failure reason
// reason=N in the agent's key, and ends with exit=CODE.
#include "Script.h"

using namespace host;

int wmain() {
    Record("stand_in").add("command", GetCommandLineW());
    if (const auto reason = scripted(L"reason"); !reason.empty()) {
        const auto value = static_cast<DWORD>(number(reason.front()));
        RegSetKeyValueW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Ostravel\\Agent", L"MsiFailureReason", REG_DWORD, &value,
                        sizeof value);
    }
    return static_cast<int>(number(scripted(L"exit", L"0")));
}
