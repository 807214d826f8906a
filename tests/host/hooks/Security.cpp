// Owners and entry lists of files. Wine keeps no more of them than Unix permissions hold, and has one user, who stands
// here for Administrators: what is given at a file's creation is recorded, and what is asked is answered from the
// permissions; owner=TEXT:SDDL: for a file whose path contains TEXT, with this. link=TEXT: such a file is a mount point
// (Wine has none).
#include "hooks/Hooks.h"

#include <aclapi.h>
#include <sddl.h>
#include <winternl.h>

namespace host {
namespace {

constexpr std::wstring_view theUser = L"S-1-5-21-0-0-0-1000";
constexpr SECURITY_INFORMATION ownerAndEntries = OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION;

std::wstring textOf(PSECURITY_DESCRIPTOR descriptor, SECURITY_INFORMATION parts) {
    LPWSTR text = nullptr;
    if (!ConvertSecurityDescriptorToStringSecurityDescriptorW(descriptor, SDDL_REVISION_1, parts, &text, nullptr)) {
        return {};
    }
    std::wstring result(text);
    LocalFree(text);
    return result;
}

std::wstring answer(HANDLE file, PSECURITY_DESCRIPTOR real) {
    const std::wstring path = pathOf(file);
    for (const auto& line : scripted(L"owner")) {
        const auto colon = line.find(L':');
        if (path.find(line.substr(0, colon)) != path.npos) return line.substr(colon + 1);
    }
    auto text = textOf(real, ownerAndEntries);
    for (auto at = text.find(theUser); at != text.npos; at = text.find(theUser))
        text.replace(at, theUser.size(), L"BA");
    return text;
}

DWORD WINAPI securityInfo(HANDLE file, SE_OBJECT_TYPE type, SECURITY_INFORMATION parts, PSID*, PSID*, PACL*, PACL*,
                          PSECURITY_DESCRIPTOR* descriptor) {
    PSECURITY_DESCRIPTOR real = nullptr;
    const DWORD code = GetSecurityInfo(file, type, parts, nullptr, nullptr, nullptr, nullptr, &real);
    if (code != ERROR_SUCCESS) return code;
    const std::wstring text = answer(file, real);
    LocalFree(real);
    return ConvertStringSecurityDescriptorToSecurityDescriptorW(text.c_str(), SDDL_REVISION_1, descriptor, nullptr)
               ? ERROR_SUCCESS
               : GetLastError();
}

BOOL WINAPI setSecurity(HANDLE file, SECURITY_INFORMATION parts, PSECURITY_DESCRIPTOR descriptor) {
    Record("secured")
        .add("path", pathOf(file))
        .add("security", textOf(descriptor, ownerAndEntries))
        .add("parts", parts);
    return SetKernelObjectSecurity(file, parts, descriptor);
}

BOOL WINAPI fileInformation(HANDLE file, FILE_INFO_BY_HANDLE_CLASS kind, LPVOID information, DWORD size) {
    const BOOL done = GetFileInformationByHandleEx(file, kind, information, size);
    if (!done || kind != FileAttributeTagInfo) return done;
    for (const auto& text : scripted(L"link")) {
        if (pathOf(file).find(text) == std::wstring::npos) continue;
        auto* tag = static_cast<FILE_ATTRIBUTE_TAG_INFO*>(information);
        tag->FileAttributes |= FILE_ATTRIBUTE_REPARSE_POINT;
        tag->ReparseTag = IO_REPARSE_TAG_MOUNT_POINT;
    }
    return done;
}

void recordCreation(bool done, LPCWSTR path, const SECURITY_ATTRIBUTES* attributes) {
    if (done && attributes && attributes->lpSecurityDescriptor) {
        Record("created").add("path", path).add("security", sddl(attributes));
    }
}

BOOL WINAPI createDirectory(LPCWSTR path, LPSECURITY_ATTRIBUTES attributes) {
    const BOOL done = CreateDirectoryW(path, attributes);
    recordCreation(done, path, attributes);
    return done;
}

HANDLE WINAPI createFile(LPCWSTR path, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES attributes, DWORD disposition,
                         DWORD flags, HANDLE templateFile) {
    const HANDLE file = CreateFileW(path, access, share, attributes, disposition, flags, templateFile);
    recordCreation(file != INVALID_HANDLE_VALUE, path, attributes);
    return file;
}

NTSTATUS WINAPI ntCreateFile(PHANDLE file, ACCESS_MASK access, POBJECT_ATTRIBUTES object, PIO_STATUS_BLOCK status,
                             PLARGE_INTEGER size, ULONG attributes, ULONG share, ULONG disposition, ULONG options,
                             PVOID extra, ULONG extraSize) {
    const NTSTATUS result =
        NtCreateFile(file, access, object, status, size, attributes, share, disposition, options, extra, extraSize);
    const std::wstring name(object->ObjectName->Buffer, object->ObjectName->Length / sizeof(wchar_t));
    const SECURITY_ATTRIBUTES security{sizeof security, object->SecurityDescriptor, FALSE};
    recordCreation(result >= 0, name.c_str(), &security);
    return result;
}

// Wine has room for MAX_PATH only.
DWORD WINAPI finalPath(HANDLE file, LPWSTR path, DWORD size, DWORD flags) {
    const DWORD length = GetFinalPathNameByHandleW(file, path, size, flags);
    if (length != 0 || GetLastError() != ERROR_MORE_DATA) return length;
    std::vector<std::byte> buffer(sizeof(UNICODE_STRING) + 65536);
    if (NtQueryObject(file, static_cast<OBJECT_INFORMATION_CLASS>(1), buffer.data(), 65536, nullptr) < 0) return 0;
    const auto& name = *reinterpret_cast<const UNICODE_STRING*>(buffer.data());
    const std::wstring text = L"\\\\" + std::wstring(name.Buffer + 2, name.Length / sizeof(wchar_t) - 2);
    if (text.size() < size) wcscpy(path, text.c_str());
    return static_cast<DWORD>(text.size() + (text.size() < size ? 0 : 1));
}

const Registration hooks{REPLACE(GetSecurityInfo, securityInfo),
                         REPLACE(SetKernelObjectSecurity, setSecurity),
                         REPLACE(GetFileInformationByHandleEx, fileInformation),
                         REPLACE(GetFinalPathNameByHandleW, finalPath),
                         REPLACE(CreateDirectoryW, createDirectory),
                         REPLACE(CreateFileW, createFile),
                         REPLACE(NtCreateFile, ntCreateFile)};

} // namespace

std::wstring pathOf(HANDLE file) {
    wchar_t path[4096]{};
    GetFinalPathNameByHandleW(file, path, 4096, 0);
    return path;
}

std::wstring sddl(const SECURITY_ATTRIBUTES* attributes) {
    constexpr SECURITY_INFORMATION parts = ownerAndEntries | SACL_SECURITY_INFORMATION;
    return attributes ? textOf(attributes->lpSecurityDescriptor, parts) : std::wstring();
}

} // namespace host
