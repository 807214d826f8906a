#include "libwin32/TraceSessions.h"

#include "libwin32/Win32Error.h"

#include <windows.h>
// after the types that it uses
#include <evntrace.h>

#include <cstddef>

namespace win32 {
namespace {

// The properties of one session, with room for its two names.
struct Slot {
    EVENT_TRACE_PROPERTIES properties{};
    wchar_t name[1024]{};
    wchar_t logFile[1024]{};

    Slot() {
        properties.Wnode.BufferSize = sizeof(Slot);
        properties.LoggerNameOffset = offsetof(Slot, name);
        properties.LogFileNameOffset = offsetof(Slot, logFile);
    }
};

ULONG query(std::vector<Slot>& slots, ULONG& count) {
    std::vector<EVENT_TRACE_PROPERTIES*> places;
    places.reserve(slots.size());
    for (auto& slot : slots)
        places.push_back(&slot.properties);
    return QueryAllTracesW(places.data(), static_cast<ULONG>(places.size()), &count);
}

} // namespace

std::vector<RunningTrace> runningTraces() {
    constexpr std::size_t ordinaryMost = 64; // of sessions, unless the registry allows more
    std::vector<Slot> slots(ordinaryMost);
    ULONG count = 0;
    ULONG code = query(slots, count);
    if (code == ERROR_MORE_DATA) {
        slots = std::vector<Slot>(count);
        code = query(slots, count);
    }
    checkCode(static_cast<long>(code), "QueryAllTraces");
    std::vector<RunningTrace> traces;
    traces.reserve(count);
    for (ULONG i = 0; i < count; ++i)
        traces.push_back({slots[i].name, slots[i].logFile});
    return traces;
}

} // namespace win32
