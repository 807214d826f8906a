#include "libkelvane/UserLog.h"

#include "libwin32/Text.h"
#include "libwin32/Win32Error.h"

#include <atomic>

namespace kelvane {
namespace {

// {0B694327-369B-4B22-94EA-D1B82E68CE53}
constexpr GUID userLogId{0x0B694327, 0x369B, 0x4B22, {0x94, 0xEA, 0xD1, 0xB8, 0x2E, 0x68, 0xCE, 0x53}};

std::atomic<win32::TraceProvider*> current{nullptr};

std::string_view lastComponent(std::string_view path) { return path.substr(path.find_last_of("/\\") + 1); }

void write(win32::TraceLevel level, std::string_view message, std::string_view file, std::uint32_t line) noexcept {
    if (auto* provider = current.load()) {
        provider->write(level, "UserLog", {{"File", lastComponent(file)}, {"Line", line}, {"Message", message}});
    }
}

void logFailure(const win32::Win32Error& error) noexcept {
    write(failureLevel(error), error.what(), error.location().file, error.location().line);
}

} // namespace

win32::TraceLevel failureLevel(const std::exception& error) noexcept {
    const bool nothingFound = dynamic_cast<const win32::NotFoundError*>(&error) != nullptr;
    return nothingFound ? win32::TraceLevel::Verbose : win32::TraceLevel::Error;
}

UserLog::UserLog() : provider_("UserLog", userLogId) {
    if (!provider_.startUnfiltered()) throw std::runtime_error("ETW register failed");
    current = &provider_;
    win32::setFailureHook(&logFailure);
}

UserLog::~UserLog() {
    win32::setFailureHook(nullptr);
    current = nullptr;
}

void userLog(win32::TraceLevel level, std::string_view message, std::source_location place) noexcept {
    write(level, message, place.file_name(), place.line());
}

void userLog(win32::TraceLevel level, std::wstring_view message, std::source_location place) noexcept {
    if (!current.load()) return;
    try {
        userLog(level, win32::toUtf8(message), place);
    } catch (const std::exception&) {
        // Out of memory: the record is lost.
    }
}

} // namespace kelvane
