// Waits and clocks. A finite wait is divided by time_scale; when it runs out, the program's clocks jump by what was
// left out, so that to the program it took its full time.
#include "hooks/Hooks.h"

#include <atomic>

namespace host {
namespace {

constexpr DWORD shortestWait = 20;

std::atomic<long long> skippedMs = 0;

DWORD scaled(DWORD milliseconds) {
    static const long long factor = std::max(1LL, number(scripted(L"time_scale", L"1")));
    if (milliseconds == INFINITE) return INFINITE;
    return std::max(static_cast<DWORD>(milliseconds / factor), std::min(milliseconds, shortestWait));
}

template <class Wait>
DWORD wait(const wchar_t* call, DWORD milliseconds, DWORD timedOut, Wait realWait) {
    if (milliseconds) Record("wait").add("call", call).add("ms", milliseconds);
    const DWORD real = scaled(milliseconds);
    const DWORD result = realWait(real);
    if (result == timedOut) skippedMs += milliseconds - real;
    return result;
}

DWORD WINAPI waitForOne(HANDLE object, DWORD ms) {
    return wait(L"WaitForSingleObject", ms, WAIT_TIMEOUT,
                [&](DWORD real) { return WaitForSingleObject(object, real); });
}

DWORD WINAPI waitForMany(DWORD count, const HANDLE* objects, BOOL all, DWORD ms) {
    return wait(L"WaitForMultipleObjects", ms, WAIT_TIMEOUT,
                [&](DWORD real) { return WaitForMultipleObjects(count, objects, all, real); });
}

DWORD WINAPI sleepEx(DWORD ms, BOOL alertable) {
    return wait(L"Sleep", ms, 0, [&](DWORD real) { return SleepEx(real, alertable); });
}

void WINAPI sleep(DWORD ms) { sleepEx(ms, FALSE); }

ULONGLONG WINAPI tickCount64() { return GetTickCount64() + static_cast<ULONGLONG>(skippedMs); }

BOOL WINAPI performanceCounter(LARGE_INTEGER* counter) {
    LARGE_INTEGER frequency{};
    QueryPerformanceFrequency(&frequency);
    const BOOL done = QueryPerformanceCounter(counter);
    counter->QuadPart += skippedMs * frequency.QuadPart / 1000;
    return done;
}

void WINAPI systemTime(LPFILETIME time) {
    GetSystemTimeAsFileTime(time);
    const auto ticks = ((static_cast<long long>(time->dwHighDateTime) << 32) | time->dwLowDateTime) + skippedMs * 10000;
    *time = {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
}

const Registration hooks{REPLACE(WaitForSingleObject, waitForOne),
                         REPLACE(WaitForMultipleObjects, waitForMany),
                         REPLACE(Sleep, sleep),
                         REPLACE(SleepEx, sleepEx),
                         REPLACE(GetTickCount64, tickCount64),
                         REPLACE(QueryPerformanceCounter, performanceCounter),
                         REPLACE(GetSystemTimeAsFileTime, systemTime),
                         PROVIDE(GetSystemTimePreciseAsFileTime, systemTime)};

} // namespace

} // namespace host
