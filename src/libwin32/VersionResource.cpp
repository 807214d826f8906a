#include "libwin32/VersionResource.h"

#include "libwin32/Win32Error.h"

#include <windows.h>

#include <vector>

namespace win32 {

std::array<std::uint16_t, 4> fileVersion(const std::wstring& path) {
    DWORD ignored = 0;
    const DWORD size = GetFileVersionInfoSizeW(path.c_str(), &ignored);
    check(size != 0, "GetFileVersionInfoSizeW");
    std::vector<std::uint8_t> resource(size);
    check(GetFileVersionInfoW(path.c_str(), 0, size, resource.data()), "GetFileVersionInfoW");
    void* block = nullptr;
    UINT length = 0;
    // VerQueryValueW sets no last error.
    if (!VerQueryValueW(resource.data(), L"\\", &block, &length) || length < sizeof(VS_FIXEDFILEINFO)) {
        throwWin32("VerQueryValueW", ERROR_RESOURCE_DATA_NOT_FOUND);
    }
    const auto& fixed = *static_cast<const VS_FIXEDFILEINFO*>(block);
    if (fixed.dwSignature != VS_FFI_SIGNATURE) throwWin32("VerQueryValueW", ERROR_RESOURCE_DATA_NOT_FOUND);
    return {HIWORD(fixed.dwFileVersionMS), LOWORD(fixed.dwFileVersionMS), HIWORD(fixed.dwFileVersionLS),
            LOWORD(fixed.dwFileVersionLS)};
}

} // namespace win32
