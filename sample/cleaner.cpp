// The sample cleaner: removes an installed agent altogether and ends with 0.
//
// Every run adds its command line to %WINDIR%\Temp\cleaner.log. Each run takes the first line off
// %WINDIR%\Temp\cleaner.script, when there is one: `exit=N clean=0|1 sleep=MILLISECONDS`, every part optional.
// `-c 0` removes nothing and writes a diagnostics file.
#include <windows.h>

#include <msi.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <string>

namespace {

constexpr auto upgradeCode = L"{95B9AB60-3BED-4C47-AFC0-E5876A75512A}";
constexpr auto serviceName = L"KelvaneAgent";

struct Script {
    int exitCode;
    bool clean;
    DWORD sleep; // milliseconds
};

std::wstring expanded(const wchar_t* path) {
    wchar_t buffer[MAX_PATH];
    ExpandEnvironmentStringsW(path, buffer, MAX_PATH);
    return buffer;
}

std::string contents(const std::wstring& path) {
    std::string text;
    if (FILE* file = _wfopen(path.c_str(), L"rb")) {
        for (int byte; (byte = std::fgetc(file)) != EOF;) {
            text += static_cast<char>(byte);
        }
        std::fclose(file);
    }
    return text;
}

void write(const std::wstring& path, const wchar_t* mode, const std::string& text) {
    if (FILE* file = _wfopen(path.c_str(), mode)) {
        std::fwrite(text.data(), 1, text.size(), file);
        std::fclose(file);
    }
}

// The number after `name` in the line, or `otherwise`.
int setting(const std::string& line, const char* name, int otherwise) {
    const auto position = line.find(name);
    return position == std::string::npos ? otherwise : std::atoi(line.c_str() + position + std::strlen(name));
}

Script takeScript() {
    const auto path = expanded(L"%WINDIR%\\Temp\\cleaner.script");
    const auto text = contents(path);
    const auto line = text.substr(0, text.find('\n'));
    if (!text.empty()) {
        write(path, L"wb", text.substr(std::min(text.size(), line.size() + 1)));
    }
    return {setting(line, "exit=", 0), setting(line, "clean=", 1) != 0, static_cast<DWORD>(setting(line, "sleep=", 0))};
}

std::string utf8(const wchar_t* text) {
    std::string result(std::wcslen(text) * 3 + 1, '\0');
    result.resize(static_cast<std::size_t>(
        WideCharToMultiByte(CP_UTF8, 0, text, -1, result.data(), static_cast<int>(result.size()), nullptr, nullptr) -
        1));
    return result;
}

void removeProducts() {
    MsiSetInternalUI(INSTALLUILEVEL_NONE, nullptr);
    wchar_t product[39];
    while (MsiEnumRelatedProductsW(upgradeCode, 0, 0, product) == ERROR_SUCCESS) {
        if (MsiConfigureProductExW(product, INSTALLLEVEL_DEFAULT, INSTALLSTATE_ABSENT, L"REBOOT=ReallySuppress") !=
            ERROR_SUCCESS) {
            return;
        }
    }
}

void removeService() {
    const SC_HANDLE manager = OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT);
    const SC_HANDLE service = OpenServiceW(manager, serviceName, SERVICE_STOP | SERVICE_QUERY_STATUS | DELETE);
    if (service) {
        SERVICE_STATUS status{};
        ControlService(service, SERVICE_CONTROL_STOP, &status);
        for (int waits = 0;
             waits < 50 && QueryServiceStatus(service, &status) && status.dwCurrentState != SERVICE_STOPPED; ++waits) {
            Sleep(100);
        }
        DeleteService(service);
        CloseServiceHandle(service);
    }
    CloseServiceHandle(manager);
}

// Links are removed, never followed.
void removeTree(const std::wstring& folder) {
    WIN32_FIND_DATAW entry;
    const HANDLE search = FindFirstFileW((folder + L"\\*").c_str(), &entry);
    for (bool more = search != INVALID_HANDLE_VALUE; more; more = FindNextFileW(search, &entry)) {
        const std::wstring name = entry.cFileName;
        const auto path = folder + L'\\' + name;
        if (!(entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY)) {
            DeleteFileW(path.c_str());
        } else if (entry.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) {
            RemoveDirectoryW(path.c_str());
        } else if (name != L"." && name != L"..") {
            removeTree(path);
        }
    }
    FindClose(search);
    RemoveDirectoryW(folder.c_str());
}

void clean() {
    removeService();
    removeProducts();
    removeTree(expanded(L"%ProgramFiles%\\Ostravel"));
    RegDeleteTreeW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Ostravel");
}

bool diagnosticsOnly(int count, wchar_t** arguments) {
    for (int i = 1; i + 1 < count; ++i) {
        if (std::wcscmp(arguments[i], L"-c") == 0) {
            return std::wcscmp(arguments[i + 1], L"0") == 0;
        }
    }
    return false;
}

} // namespace

int wmain(int count, wchar_t** arguments) {
    const auto commandLine = utf8(GetCommandLineW()) + '\n';
    write(expanded(L"%WINDIR%\\Temp\\cleaner.log"), L"ab", commandLine);
    const auto script = takeScript();
    Sleep(script.sleep);
    if (diagnosticsOnly(count, arguments)) {
        write(expanded(L"%WINDIR%\\Temp\\KelvaneDiagnostics.txt"), L"wb", "sample diagnostics of " + commandLine);
    } else if (script.clean) {
        clean();
    }
    return script.exitCode;
}
