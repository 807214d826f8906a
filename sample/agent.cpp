// The sample agent: a Windows service that does nothing until it is stopped. `--version` prints the version of this
// file.
#include <windows.h>

#include <cstdio>
#include <cwchar>
#include <vector>

namespace {

wchar_t serviceName[] = L"KelvaneAgent";
SERVICE_STATUS_HANDLE statusHandle = nullptr;
HANDLE stopRequested = nullptr;

void report(DWORD state) {
    SERVICE_STATUS status{};
    status.dwServiceType = SERVICE_WIN32_OWN_PROCESS;
    status.dwCurrentState = state;
    status.dwControlsAccepted = state == SERVICE_RUNNING ? SERVICE_ACCEPT_STOP | SERVICE_ACCEPT_SHUTDOWN : 0;
    SetServiceStatus(statusHandle, &status);
}

DWORD WINAPI onControl(DWORD control, DWORD, void*, void*) {
    if (control == SERVICE_CONTROL_STOP || control == SERVICE_CONTROL_SHUTDOWN) {
        SetEvent(stopRequested);
    }
    return NO_ERROR;
}

void WINAPI serviceMain(DWORD, wchar_t**) {
    statusHandle = RegisterServiceCtrlHandlerExW(serviceName, onControl, nullptr);
    report(SERVICE_RUNNING);
    WaitForSingleObject(stopRequested, INFINITE);
    report(SERVICE_STOPPED);
}

int printVersion() {
    wchar_t path[MAX_PATH];
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    std::vector<char> resource(GetFileVersionInfoSizeW(path, nullptr));
    VS_FIXEDFILEINFO* info = nullptr;
    UINT size = 0;
    if (!GetFileVersionInfoW(path, 0, static_cast<DWORD>(resource.size()), resource.data()) ||
        !VerQueryValueW(resource.data(), L"\\", reinterpret_cast<void**>(&info), &size)) {
        return 1;
    }
    std::printf("%d.%d.%d.%d\n", HIWORD(info->dwFileVersionMS), LOWORD(info->dwFileVersionMS),
                HIWORD(info->dwFileVersionLS), LOWORD(info->dwFileVersionLS));
    return 0;
}

} // namespace

int wmain(int count, wchar_t** arguments) {
    if (count == 2 && std::wcscmp(arguments[1], L"--version") == 0) {
        return printVersion();
    }
    stopRequested = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    const SERVICE_TABLE_ENTRYW services[] = {{serviceName, serviceMain}, {nullptr, nullptr}};
    return StartServiceCtrlDispatcherW(services) ? 0 : 1;
}
