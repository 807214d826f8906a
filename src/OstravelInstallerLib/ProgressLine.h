#pragma once

#include "libwin32/RepeatingTimer.h"

#include <windows.h>

#include <optional>
#include <string_view>

namespace kelvane::bst {

// "What: 1:05", the minutes and seconds since the object was made, rewritten every second as long as it lives; for a
// person at a console (showProgress), and nowhere else. One at a time. Never throws.
class ElapsedTime {
public:
    // The text must live as long as the object.
    explicit ElapsedTime(std::wstring_view what) noexcept;
    ~ElapsedTime();
    ElapsedTime(const ElapsedTime&) = delete;
    ElapsedTime& operator=(const ElapsedTime&) = delete;

private:
    void show() const noexcept;

    std::wstring_view what_;
    ULONGLONG start_;
    std::optional<win32::RepeatingTimer> timer_;
};

// "What: 37 %", rewritten where the number changes; else as ElapsedTime.
class Percentage {
public:
    explicit Percentage(std::wstring_view what) noexcept : what_(what) {}
    ~Percentage();
    Percentage(const Percentage&) = delete;
    Percentage& operator=(const Percentage&) = delete;

    void show(unsigned percent) noexcept;

private:
    std::wstring_view what_;
    std::optional<unsigned> shown_;
};

} // namespace kelvane::bst
