#include "OstravelInstallerLib/ProgressLine.h"

#include "OstravelInstallerLib/Console.h"
#include "libkelvane/UserLog.h"

#include <exception>
#include <format>

namespace kelvane::bst {
namespace {

constexpr std::uint32_t betweenLooksMs = 1000;

template <class... Values>
bool show(std::wformat_string<const Values&...> form, const Values&... values) noexcept {
    try {
        return showProgress(std::format(form, values...));
    } catch (const std::exception&) {
        return false; // out of memory
    }
}

} // namespace

ElapsedTime::ElapsedTime(std::wstring_view what) noexcept : what_(what), start_(GetTickCount64()) {
    if (!bst::show(L"{}: 0:00", what_)) return;
    try {
        timer_.emplace(betweenLooksMs, betweenLooksMs, [this] { show(); });
    } catch (const std::exception& error) {
        userLog(win32::TraceLevel::Error, error.what());
    }
}

ElapsedTime::~ElapsedTime() {
    timer_.reset();
    showProgress({});
}

void ElapsedTime::show() const noexcept {
    const ULONGLONG seconds = (GetTickCount64() - start_) / 1000;
    bst::show(L"{}: {}:{:02}", what_, seconds / 60, seconds % 60);
}

Percentage::~Percentage() { showProgress({}); }

void Percentage::show(unsigned percent) noexcept {
    if (shown_ == percent) return;
    shown_ = percent;
    bst::show(L"{}: {} %", what_, percent);
}

} // namespace kelvane::bst
