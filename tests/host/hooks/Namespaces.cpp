// Boundary descriptors and private namespaces. A namespace is a named event while one process holds it; an object in it
// is an ordinary named object, so that two runs exclude each other for real.
#include "hooks/Hooks.h"

#include <sddl.h>

#include <map>

namespace host {
namespace {

// Alias in this process → name of the namespace on the machine.
std::map<std::wstring, std::wstring, std::less<>>& aliases() {
    static auto* map = new std::map<std::wstring, std::wstring, std::less<>>;
    return *map;
}

HANDLE WINAPI createBoundary(LPCWSTR name, ULONG) { return new std::wstring(L"Global\\private-" + std::wstring(name)); }

BOOL WINAPI addSid(HANDLE* boundary, PSID sid) {
    LPWSTR text = nullptr;
    if (!ConvertSidToStringSidW(sid, &text)) return FALSE;
    *static_cast<std::wstring*>(*boundary) += L'-' + std::wstring(text);
    LocalFree(text);
    return TRUE;
}

void WINAPI deleteBoundary(HANDLE boundary) { delete static_cast<std::wstring*>(boundary); }

HANDLE entered(const char* call, HANDLE event, const std::wstring& name, LPCWSTR alias, const std::wstring& security) {
    Record("namespace").add("call", fromUtf8(call)).add("boundary", name).add("alias", alias).add("security", security);
    if (event) aliases()[alias] = name;
    return event;
}

HANDLE WINAPI createNamespace(LPSECURITY_ATTRIBUTES attributes, LPVOID boundary, LPCWSTR alias) {
    const auto& name = *static_cast<std::wstring*>(boundary);
    const std::wstring security = sddl(attributes);
    HANDLE event = CreateEventW(nullptr, TRUE, FALSE, name.c_str());
    if (event && GetLastError() == ERROR_ALREADY_EXISTS) {
        CloseHandle(event);
        event = nullptr;
        SetLastError(ERROR_ALREADY_EXISTS);
    }
    return entered("create", event, name, alias, security);
}

HANDLE WINAPI openNamespace(LPVOID boundary, LPCWSTR alias) {
    const auto& name = *static_cast<std::wstring*>(boundary);
    const HANDLE event = OpenEventW(SYNCHRONIZE, FALSE, name.c_str());
    if (!event) SetLastError(ERROR_PATH_NOT_FOUND);
    return entered("open", event, name, alias, {});
}

BOOLEAN WINAPI closeNamespace(HANDLE space, ULONG flags) {
    Record("namespace").add("call", L"close").add("flags", flags);
    return static_cast<BOOLEAN>(CloseHandle(space));
}

HANDLE WINAPI createMutex(LPSECURITY_ATTRIBUTES attributes, BOOL owned, LPCWSTR name) {
    const std::wstring_view whole = name ? name : L"";
    const auto slash = whole.find(L'\\');
    const auto alias = slash == whole.npos ? aliases().end() : aliases().find(whole.substr(0, slash));
    if (alias == aliases().end()) return CreateMutexW(attributes, owned, name);
    Record("mutex").add("name", name).add("security", sddl(attributes));
    return CreateMutexW(attributes, owned, (alias->second + L'-' + std::wstring(whole.substr(slash + 1))).c_str());
}

const Registration hooks{
    REPLACE(CreateBoundaryDescriptorW, createBoundary),     REPLACE(AddSIDToBoundaryDescriptor, addSid),
    PROVIDE(AddIntegrityLabelToBoundaryDescriptor, addSid), REPLACE(DeleteBoundaryDescriptor, deleteBoundary),
    REPLACE(CreatePrivateNamespaceW, createNamespace),      REPLACE(OpenPrivateNamespaceW, openNamespace),
    REPLACE(ClosePrivateNamespace, closeNamespace),         REPLACE(CreateMutexW, createMutex)};

} // namespace

} // namespace host
