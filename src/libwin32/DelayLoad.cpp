#include "libwin32/DelayLoad.h"

#include <windows.h>

#include <delayimp.h>

#include <format>

// What the delay-import libraries bring along, under names made of theirs, and what fills in one address.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {
extern const ImgDelayDescr __DELAY_IMPORT_DESCRIPTOR_libcrypt32_a;
extern const ImgDelayDescr __DELAY_IMPORT_DESCRIPTOR_libwinhttp_a;
FARPROC WINAPI __delayLoadHelper2(PCImgDelayDescr library, FARPROC* slot);
}
// NOLINTEND(bugprone-reserved-identifier)

namespace win32 {
namespace {

[[noreturn]] void throwMissing(const DelayLoadInfo& call) {
    throwWin32(std::format("{} of {}", call.dlp.szProcName, call.szDll), call.dwLastError);
}

FARPROC WINAPI onFailure(unsigned, DelayLoadInfo* call) { throwMissing(*call); }

template <class Value>
Value* atOffset(RVA offset) {
    return reinterpret_cast<Value*>(reinterpret_cast<std::uintptr_t>(GetModuleHandleW(nullptr)) + offset);
}

void lookUpAll(const ImgDelayDescr& library) {
    auto* slot = atOffset<FARPROC>(library.rvaIAT);
    for (const auto* name = atOffset<IMAGE_THUNK_DATA>(library.rvaINT); name->u1.AddressOfData != 0; ++name)
        __delayLoadHelper2(&library, slot++);
}

} // namespace

void lookUpHttpFunctions() {
    lookUpAll(__DELAY_IMPORT_DESCRIPTOR_libcrypt32_a);
    lookUpAll(__DELAY_IMPORT_DESCRIPTOR_libwinhttp_a);
}

} // namespace win32

// The run-time library asks this hook before it would end the process.
PfnDliHook __pfnDliFailureHook2 = &win32::onFailure;
