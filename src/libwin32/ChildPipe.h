#pragma once

#include "libwin32/Handles.h"

namespace win32 {

// A named pipe from a child process to this one.
struct ChildPipe {
    UniqueHandle server; // kept, for reading
    UniqueHandle client; // given to the child, for writing
};

enum class PipeAccess { Blocking, Overlapped };

// Creates both ends, inheritable, under a name that no other pipe has. `access` is that of the server end.
// Throws Win32Error "CreateNamedPipe" or "CreateFile".
ChildPipe createChildPipe(PipeAccess access);

} // namespace win32
