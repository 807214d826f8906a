#include "libkelvane/Guid.h"

#include "libwin32/Win32Error.h"

#include <windows.h>

#include <combaseapi.h>

namespace kelvane {

std::wstring newGuid() {
    GUID guid{};
    win32::checkHresult(CoCreateGuid(&guid), "CoCreateGuid");
    wchar_t text[39]{};
    StringFromGUID2(guid, text, 39);
    return {text + 1, 36};
}

} // namespace kelvane
