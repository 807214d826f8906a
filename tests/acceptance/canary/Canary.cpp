// A library that tells when somebody loads it: NAME.taken beside it.
#include <windows.h>

#include <string>

BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, void*) {
    wchar_t path[1024]{};
    if (reason == DLL_PROCESS_ATTACH && GetModuleFileNameW(module, path, 1024)) {
        CloseHandle(CreateFileW((std::wstring(path) + L".taken").c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0,
                                nullptr));
    }
    return TRUE;
}
