// The monitor driver: its service and its communication port.
// monitor=running,stopped: the service's state, one per query. port=CODE,...: the result of each connection, 0
// connects.
#include "hooks/Hooks.h"

#include <fltuser.h>

namespace host {
namespace {

constexpr const wchar_t* fileNotFound = L"0x80070002";
const auto monitorService = reinterpret_cast<SC_HANDLE>(0x4D4F4E);

SC_HANDLE WINAPI openService(SC_HANDLE manager, LPCWSTR name, DWORD access) {
    const bool ours = _wcsicmp(name, L"KelvaneMonitor") == 0 && !scripted(L"monitor").empty();
    return ours ? monitorService : OpenServiceW(manager, name, access);
}

BOOL WINAPI closeService(SC_HANDLE service) { return service == monitorService || CloseServiceHandle(service); }

DWORD monitorState() {
    const std::wstring state = nextScripted(L"monitor", L"stopped");
    Record("monitor").add("state", state);
    if (state == L"running") return SERVICE_RUNNING;
    return state == L"stopping" ? SERVICE_STOP_PENDING : SERVICE_STOPPED;
}

BOOL WINAPI queryStatus(SC_HANDLE service, LPSERVICE_STATUS status) {
    if (service != monitorService) return QueryServiceStatus(service, status);
    *status = {SERVICE_FILE_SYSTEM_DRIVER, monitorState(), 0, 0, 0, 0, 0};
    return TRUE;
}

HRESULT WINAPI connectPort(LPCWSTR name, DWORD, LPCVOID, WORD, LPSECURITY_ATTRIBUTES, HANDLE* port) {
    const auto result = static_cast<HRESULT>(number(nextScripted(L"port", fileNotFound)));
    Record("port").add("name", name).add("result", result);
    *port = result == S_OK ? CreateEventW(nullptr, TRUE, FALSE, nullptr) : INVALID_HANDLE_VALUE;
    return result;
}

const Registration hooks{PASS(OpenSCManagerW), REPLACE(OpenServiceW, openService),
                         REPLACE(CloseServiceHandle, closeService), REPLACE(QueryServiceStatus, queryStatus),
                         REPLACE(FilterConnectCommunicationPort, connectPort)};

} // namespace

} // namespace host
