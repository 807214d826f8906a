#include "libwin32/AdministratorsOnly.h"

#include "libwin32/NativeFile.h"

#include <aclapi.h>
#include <sddl.h>
#include <winternl.h>

#include <string>
#include <string_view>

namespace win32 {
namespace {

constexpr const wchar_t* directorySddl = L"O:BAD:P(A;OICI;FA;;;BA)(A;OICI;FA;;;SY)";
constexpr const wchar_t* fileSddl = L"O:BAD:P(A;;FA;;;BA)(A;;FA;;;SY)";

UniqueSecurityDescriptor descriptorOf(const wchar_t* sddl) {
    UniqueSecurityDescriptor descriptor;
    ConvertStringSecurityDescriptorToSecurityDescriptorW(sddl, SDDL_REVISION_1, descriptor.put(), nullptr);
    return descriptor;
}

// As the kernel names it: "\\?\C:\x" is "\??\C:\x", "\\server\x" is "\??\UNC\server\x".
std::wstring nativeName(std::wstring_view path) {
    constexpr std::wstring_view longPrefix = L"\\\\?\\";
    constexpr std::wstring_view serverPrefix = L"\\\\";
    if (path.starts_with(longPrefix)) return L"\\??\\" + std::wstring(path.substr(longPrefix.size()));
    if (path.starts_with(serverPrefix)) return L"\\??\\UNC\\" + std::wstring(path.substr(serverPrefix.size()));
    return std::wstring(path);
}

} // namespace

bool createDirectoryForAdministrators(const wchar_t* path) {
    const auto descriptor = descriptorOf(directorySddl);
    SECURITY_ATTRIBUTES attributes{sizeof attributes, descriptor.get(), FALSE};
    return descriptor && CreateDirectoryW(path, &attributes);
}

UniqueHandle createHeldDirectoryForAdministrators(const wchar_t* path) {
    const auto descriptor = descriptorOf(directorySddl);
    if (!descriptor) return {};
    return openNative({.name = nativeName(path),
                       .access = FILE_LIST_DIRECTORY | FILE_READ_ATTRIBUTES,
                       .disposition = FILE_CREATE,
                       .options = FILE_DIRECTORY_FILE,
                       .security = descriptor.get()});
}

UniqueHandle createFileForAdministrators(const wchar_t* path) {
    const auto descriptor = descriptorOf(fileSddl);
    if (!descriptor) return {};
    SECURITY_ATTRIBUTES attributes{sizeof attributes, descriptor.get(), FALSE};
    // A dangling link would be written through without the flag.
    return UniqueHandle(CreateFileW(path, GENERIC_READ | GENERIC_WRITE | DELETE, FILE_SHARE_READ, &attributes,
                                    CREATE_NEW, FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
}

bool giveToAdministrators(HANDLE directory) {
    const auto descriptor = descriptorOf(directorySddl);
    // Not SetSecurityInfo: that would walk the content.
    return descriptor && SetKernelObjectSecurity(directory,
                                                 OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION |
                                                     PROTECTED_DACL_SECURITY_INFORMATION,
                                                 descriptor.get());
}

UniqueSecurityDescriptor securityOf(HANDLE file) {
    UniqueSecurityDescriptor descriptor;
    SetLastError(GetSecurityInfo(file, SE_FILE_OBJECT, OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION, nullptr,
                                 nullptr, nullptr, nullptr, descriptor.put()));
    return descriptor;
}

} // namespace win32
