#include "libwin32/Services.h"

#include "libwin32/Handles.h"
#include "libwin32/Win32Error.h"

namespace win32 {

std::optional<DWORD> serviceState(const wchar_t* name) {
    const UniqueService manager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT));
    check(static_cast<bool>(manager), "OpenSCManager");
    const UniqueService service(OpenServiceW(manager.get(), name, GENERIC_READ));
    if (!service && GetLastError() == ERROR_SERVICE_DOES_NOT_EXIST) return std::nullopt;
    check(static_cast<bool>(service), "OpenService");
    SERVICE_STATUS status{};
    check(QueryServiceStatus(service.get(), &status) != 0, "QueryServiceStatus");
    return status.dwCurrentState;
}

} // namespace win32
