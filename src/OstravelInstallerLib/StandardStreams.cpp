#include "OstravelInstallerLib/StandardStreams.h"

#include "libwin32/Handles.h"
#include "libwin32/Win32Error.h"

#include <fcntl.h>
#include <io.h>

#include <cstdio>
#include <iostream>

namespace kelvane::bst {
namespace {

constexpr char noDescriptor[] = "Could not get the file descriptor associated with the given handle";

// A copy of the standard handle for the stream to own: the stream may own the original already, and binding closes
// that.
win32::UniqueHandle copyOfStandardHandle(DWORD id) {
    const HANDLE handle = GetStdHandle(id);
    if (!win32::HandleTraits::isValid(handle)) return {};
    win32::UniqueHandle copy;
    win32::check(
        DuplicateHandle(GetCurrentProcess(), handle, GetCurrentProcess(), copy.put(), 0, FALSE, DUPLICATE_SAME_ACCESS),
        "Could not get console's std handle");
    return copy;
}

void bindToHandle(FILE* stream, win32::UniqueHandle handle) {
    const int descriptor = _open_osfhandle(reinterpret_cast<intptr_t>(handle.get()), _O_TEXT);
    if (descriptor == -1) win32::throwWin32(noDescriptor, ERROR_INVALID_HANDLE);
    handle.release();
    const bool bound = _dup2(descriptor, _fileno(stream)) == 0;
    _close(descriptor);
    if (!bound) win32::throwWin32(noDescriptor, ERROR_INVALID_HANDLE);
}

void bindStream(DWORD id, FILE* stream, const char* mode) {
    auto handle = copyOfStandardHandle(id);
    // Without a console a stream has no descriptor that another could be copied to; "nul" gives it one.
    if (!std::freopen("nul", mode, stream)) win32::throwWin32(noDescriptor, ERROR_INVALID_HANDLE);
    if (!handle) return;
    bindToHandle(stream, std::move(handle));
    SetStdHandle(id, reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(stream))));
}

} // namespace

void bindStandardStreams() {
    bindStream(STD_INPUT_HANDLE, stdin, "r");
    bindStream(STD_OUTPUT_HANDLE, stdout, "w");
    bindStream(STD_ERROR_HANDLE, stderr, "w");
    // Whatever was tried before there was anything to read from or write to.
    std::cin.clear();
    std::cout.clear();
    std::cerr.clear();
}

} // namespace kelvane::bst
