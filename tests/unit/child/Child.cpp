// A child process for tests: exit CODE | write BYTES (on both outputs, 500 in turn) | sleep | spawn (a child that
// sleeps).
#include <windows.h>

#include <io.h>
#include <process.h>

#include <string>

int wmain(int, wchar_t** arguments) {
    const std::wstring action = arguments[1];
    if (action == L"exit") return std::stoi(arguments[2]);
    if (action == L"sleep") Sleep(INFINITE);
    if (action == L"spawn") {
        const auto child = _wspawnl(_P_NOWAIT, arguments[0], L"child", L"sleep", nullptr);
        const std::string id = std::to_string(GetProcessId(reinterpret_cast<HANDLE>(child)));
        return _write(1, id.data(), static_cast<unsigned>(id.size())) < 0;
    }
    for (int left = std::stoi(arguments[2]); left > 0; left -= 500) {
        if (_write(1, std::string(500, 'o').data(), 500) < 0 || _write(2, std::string(500, 'e').data(), 500) < 0)
            return 1;
    }
    return 0;
}
