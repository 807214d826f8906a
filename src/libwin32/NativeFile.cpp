#include "libwin32/NativeFile.h"

#include <winternl.h>

namespace win32 {

UniqueHandle openNative(NativeFile file) {
    UNICODE_STRING name{};
    name.Length = static_cast<USHORT>(file.name.size() * sizeof(wchar_t));
    name.MaximumLength = name.Length;
    name.Buffer = file.name.data();
    OBJECT_ATTRIBUTES object{};
    object.Length = sizeof object;
    object.RootDirectory = file.parent;
    object.ObjectName = &name;
    object.SecurityDescriptor = file.security;
    // Below an open directory the name is one that was read from it.
    object.Attributes = file.parent ? 0 : OBJ_CASE_INSENSITIVE;
    IO_STATUS_BLOCK status{};
    UniqueHandle handle;
    const NTSTATUS result = NtCreateFile(
        handle.put(), file.access | SYNCHRONIZE, &object, &status, nullptr, FILE_ATTRIBUTE_NORMAL, file.share,
        file.disposition, file.options | FILE_OPEN_REPARSE_POINT | FILE_SYNCHRONOUS_IO_NONALERT, nullptr, 0);
    if (result < 0) SetLastError(RtlNtStatusToDosError(result));
    return handle;
}

} // namespace win32
