// Custom actions of the sample package: they fail it where its properties ask for that, as the vendor's package would
// fail.
#include <windows.h>

#include <msi.h>
#include <msiquery.h>

#include <cstdlib>
#include <string>

namespace {

constexpr auto agentKey = L"SOFTWARE\\Ostravel\\Agent";

std::wstring property(MSIHANDLE session, const wchar_t* name) {
    wchar_t value[256] = {};
    DWORD size = 256;
    return MsiGetPropertyW(session, name, value, &size) == ERROR_SUCCESS ? value : L"";
}

// Written at once, not as a step of the installation: the value stays when the installation is rolled back.
void record(const wchar_t* name, DWORD value) {
    RegSetKeyValueW(HKEY_LOCAL_MACHINE, agentKey, name, REG_DWORD, &value, sizeof value);
}

UINT fail(MSIHANDLE session) {
    if (const auto reason = property(session, L"SAMPLE_FAIL_REASON"); !reason.empty()) {
        record(L"MsiFailureReason", static_cast<DWORD>(std::wcstoul(reason.c_str(), nullptr, 10)));
    }
    return property(session, L"SAMPLE_FAIL") == L"1602" ? ERROR_INSTALL_USEREXIT : ERROR_INSTALL_FAILURE;
}

} // namespace

// Before anything is changed.
extern "C" __declspec(dllexport) UINT __stdcall beginInstallation(MSIHANDLE session) {
    RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, agentKey, L"RemoveExistingProductsMark");
    if (const auto delay = property(session, L"SAMPLE_DELAY"); !delay.empty()) {
        Sleep(static_cast<DWORD>(std::wcstoul(delay.c_str(), nullptr, 10)));
    }
    if (!property(session, L"SAMPLE_FAIL_AFTER_REMOVAL").empty()) {
        return ERROR_SUCCESS;
    }
    return property(session, L"SAMPLE_FAIL").empty() && property(session, L"SAMPLE_FAIL_REASON").empty()
               ? ERROR_SUCCESS
               : fail(session);
}

// When the installed product, if there was one, is gone.
extern "C" __declspec(dllexport) UINT __stdcall afterRemoval(MSIHANDLE session) {
    const bool failing = !property(session, L"SAMPLE_FAIL_AFTER_REMOVAL").empty();
    if (failing || !property(session, L"RELATED_PRODUCTS").empty()) {
        record(L"RemoveExistingProductsMark", 1);
    }
    return failing ? fail(session) : ERROR_SUCCESS;
}
