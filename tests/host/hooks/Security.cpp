// Owners and entry lists of files. Wine keeps no more of them than Unix permissions hold, and has one user, who stands
// here for Administrators: what is given at a file's creation is recorded, and what is asked is answered from the
// permissions; owner=TEXT:SDDL: for a file whose path contains TEXT, with this. link=TEXT: such a file is a mount point
// (Wine has none).
#include "hooks/Hooks.h"

#include <aclapi.h>
#include <sddl.h>

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

const Registration hooks{REPLACE(GetSecurityInfo, securityInfo), REPLACE(SetKernelObjectSecurity, setSecurity),
                         REPLACE(GetFileInformationByHandleEx, fileInformation),
                         REPLACE(CreateDirectoryW, createDirectory), REPLACE(CreateFileW, createFile)};

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
