#include "libwin32/ChildPipe.h"

#include "libwin32/NewGuid.h"
#include "libwin32/Win32Error.h"

#include <string>

namespace win32 {
namespace {

constexpr DWORD pipeBufferSize = 65535;

std::wstring newPipeName() {
    return L"\\\\.\\pipe\\KelvanePipe_" + newGuid() + L"_" + std::to_wstring(GetCurrentThreadId());
}

} // namespace

ChildPipe createChildPipe(PipeAccess access) {
    SECURITY_ATTRIBUTES inheritable{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
    const std::wstring name = newPipeName();
    const DWORD openMode = PIPE_ACCESS_INBOUND | (access == PipeAccess::Overlapped ? FILE_FLAG_OVERLAPPED : 0);

    ChildPipe pipe;
    pipe.server.reset(CreateNamedPipeW(name.c_str(), openMode, PIPE_TYPE_BYTE | PIPE_READMODE_BYTE | PIPE_WAIT, 1,
                                       pipeBufferSize, pipeBufferSize, 0, &inheritable));
    check(static_cast<bool>(pipe.server), "CreateNamedPipe");
    pipe.client.reset(CreateFileW(name.c_str(), GENERIC_WRITE, 0, &inheritable, OPEN_EXISTING, 0, nullptr));
    check(static_cast<bool>(pipe.client), "CreateFile");
    return pipe;
}

} // namespace win32
