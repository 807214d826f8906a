#include "libwin32/AdministratorsOnly.h"

#include <sddl.h>

namespace win32 {
namespace {

UniqueSecurityDescriptor descriptorOf(const wchar_t* sddl) {
    UniqueSecurityDescriptor descriptor;
    ConvertStringSecurityDescriptorToSecurityDescriptorW(sddl, SDDL_REVISION_1, descriptor.put(), nullptr);
    return descriptor;
}

} // namespace

bool createDirectoryForAdministrators(const wchar_t* path) {
    const auto descriptor = descriptorOf(L"O:BAD:P(A;OICI;FA;;;BA)(A;OICI;FA;;;SY)");
    SECURITY_ATTRIBUTES attributes{sizeof attributes, descriptor.get(), FALSE};
    return descriptor && CreateDirectoryW(path, &attributes);
}

UniqueHandle createFileForAdministrators(const wchar_t* path) {
    const auto descriptor = descriptorOf(L"O:BAD:P(A;;FA;;;BA)(A;;FA;;;SY)");
    if (!descriptor) return {};
    SECURITY_ATTRIBUTES attributes{sizeof attributes, descriptor.get(), FALSE};
    return UniqueHandle(CreateFileW(path, GENERIC_WRITE, 0, &attributes, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr));
}

} // namespace win32
