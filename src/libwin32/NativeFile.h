#pragma once

#include "libwin32/Handles.h"

#include <string>

namespace win32 {

// What CreateFileW cannot say: a name relative to an open directory, a new directory that is open from the start.
struct NativeFile {
    HANDLE parent = nullptr; // else the name is whole, as the kernel has it
    std::wstring name{};
    ACCESS_MASK access = 0; // SYNCHRONIZE is added
    ULONG share = FILE_SHARE_READ | FILE_SHARE_WRITE;
    ULONG disposition = 0; // FILE_OPEN, FILE_CREATE
    ULONG options = 0;     // FILE_SYNCHRONOUS_IO_NONALERT and FILE_OPEN_REPARSE_POINT are added
    PSECURITY_DESCRIPTOR security = nullptr;
};

// NtCreateFile; empty handle and the last error on failure.
UniqueHandle openNative(NativeFile file);

} // namespace win32
