// What a power cut loses: the files that were written and not flushed when the test ends the program.
#include "hooks/Hooks.h"

#include <mutex>
#include <set>

namespace host {
namespace {

std::mutex mutex;
std::set<std::wstring> unflushed;

BOOL WINAPI writeFile(HANDLE file, LPCVOID data, DWORD size, LPDWORD written, LPOVERLAPPED place) {
    const BOOL done = REAL(WriteFile)(file, data, size, written, place);
    const DWORD lastError = GetLastError();
    if (done && killsProgram() && GetFileType(file) == FILE_TYPE_DISK) {
        const std::wstring path = pathOf(file);
        const std::scoped_lock lock(mutex);
        unflushed.insert(path);
    }
    SetLastError(lastError);
    return done;
}

BOOL WINAPI flush(HANDLE file) {
    const BOOL done = FlushFileBuffers(file);
    if (done && killsProgram()) {
        const std::wstring path = pathOf(file);
        const std::scoped_lock lock(mutex);
        unflushed.erase(path);
    }
    return done;
}

const Registration hooks{REPLACE(WriteFile, writeFile), REPLACE(FlushFileBuffers, flush)};

} // namespace

void recordUnflushed() {
    const std::scoped_lock lock(mutex);
    for (const auto& path : unflushed)
        Record("unflushed").add("path", path);
}

} // namespace host
