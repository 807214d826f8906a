#include "libwin32/NewGuid.h"

#include "libwin32/Win32Error.h"

#include <windows.h>

#include <combaseapi.h>

namespace win32 {

std::wstring newGuid() {
    GUID guid{};
    checkHresult(CoCreateGuid(&guid), "CoCreateGuid");
    wchar_t text[39]{};
    StringFromGUID2(guid, text, 39);
    return {text + 1, 36};
}

} // namespace win32
