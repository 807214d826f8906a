// host.dll: patches the program's import table and answers its GetProcAddress.
#include "hooks/Hooks.h"

#include <cstring>

namespace host {
namespace {

const Hook* find(std::string_view name) {
    const auto hook = std::ranges::find(hookTable(), name, [](const Hook& one) { return std::string_view(one.name); });
    return hook == hookTable().end() ? nullptr : &*hook;
}

// missing=NAME: the system lacks this function, or this library.
bool missing(const char* name) { return std::ranges::count(scripted(L"missing"), fromUtf8(name)) != 0; }

// Serves the program's own look-ups and those of its delay loading.
FARPROC WINAPI getProcAddress(HMODULE module, LPCSTR name) {
    const FARPROC real = GetProcAddress(module, name);
    if (IS_INTRESOURCE(name)) return real;
    if (scripted(L"calls", L"no") == L"yes") Record("lookup").add("name", fromUtf8(name));
    if (missing(name)) {
        SetLastError(ERROR_PROC_NOT_FOUND);
        return nullptr;
    }
    const Hook* hook = find(name);
    if (!hook || (!real && !hook->replaced)) return real;
    if (real) *hook->real = reinterpret_cast<void*>(real);
    return reinterpret_cast<FARPROC>(hook->entry);
}

HMODULE WINAPI loadLibrary(LPCSTR name) {
    if (scripted(L"calls", L"no") == L"yes") Record("lookup").add("name", fromUtf8(name));
    if (!missing(name)) return LoadLibraryA(name);
    SetLastError(ERROR_MOD_NOT_FOUND);
    return nullptr;
}

const Registration hooks{REPLACE(LoadLibraryA, loadLibrary)};

void patch(std::uintptr_t* slot, const char* name) {
    const Hook* hook = find(name);
    const bool lookUp = std::strcmp(name, "GetProcAddress") == 0;
    if (!hook && !lookUp) return;
    DWORD protection = 0;
    VirtualProtect(slot, sizeof *slot, PAGE_READWRITE, &protection);
    if (hook) *hook->real = reinterpret_cast<void*>(*slot);
    *slot = reinterpret_cast<std::uintptr_t>(hook ? hook->entry : reinterpret_cast<void*>(&getProcAddress));
    VirtualProtect(slot, sizeof *slot, protection, &protection);
}

void patchImports() {
    auto* base = reinterpret_cast<std::uint8_t*>(GetModuleHandleW(nullptr));
    const auto* dos = reinterpret_cast<IMAGE_DOS_HEADER*>(base);
    const auto* headers = reinterpret_cast<IMAGE_NT_HEADERS*>(base + dos->e_lfanew);
    const auto& directory = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    const auto* import = reinterpret_cast<IMAGE_IMPORT_DESCRIPTOR*>(base + directory.VirtualAddress);
    for (; import->Name; ++import) {
        const auto* names = reinterpret_cast<IMAGE_THUNK_DATA*>(base + import->OriginalFirstThunk);
        auto* slots = reinterpret_cast<std::uintptr_t*>(base + import->FirstThunk);
        for (; names->u1.AddressOfData; ++names, ++slots) {
            if (IMAGE_SNAP_BY_ORDINAL(names->u1.Ordinal)) continue;
            patch(slots, reinterpret_cast<IMAGE_IMPORT_BY_NAME*>(base + names->u1.AddressOfData)->Name);
        }
    }
}

} // namespace

std::vector<Hook>& hookTable() {
    static std::vector<Hook> table;
    return table;
}

} // namespace host

BOOL WINAPI DllMain(HINSTANCE, DWORD reason, void*) {
    if (reason == DLL_PROCESS_ATTACH) host::patchImports();
    return TRUE;
}
