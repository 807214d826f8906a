#include "libwin32/PeUtils.h"

#include "libwin32/Win32Error.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>

namespace win32 {
namespace {

constexpr int payloadResource = 102;
constexpr std::size_t chunkSize = 0x100000;

std::span<const std::uint8_t> locateResource(std::source_location place) {
    HMODULE module = GetModuleHandleW(nullptr);
    HRSRC resource = FindResourceW(module, MAKEINTRESOURCEW(payloadResource), RT_RCDATA);
    check(resource != nullptr, "FindResource", place);
    HGLOBAL loaded = LoadResource(module, resource);
    check(loaded != nullptr, "LoadResource", place);
    const DWORD size = SizeofResource(module, resource);
    check(size != 0, "SizeofResource", place);
    return {static_cast<const std::uint8_t*>(LockResource(loaded)), size};
}

} // namespace

void getResource(HANDLE file) {
    static const auto resource = locateResource(std::source_location::current());
    for (std::size_t offset = 0; offset < resource.size(); offset += chunkSize) {
        const auto length = static_cast<DWORD>(std::min(resource.size() - offset, chunkSize));
        DWORD written = 0;
        check(WriteFile(file, resource.data() + offset, length, &written, nullptr), "WriteFile");
        if (written != length) throwWin32("WriteFile", ERROR_WRITE_FAULT);
    }
}

} // namespace win32
