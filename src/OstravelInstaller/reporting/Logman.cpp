#include "OstravelInstaller/reporting/Logman.h"

#include "libkelvane/PathUtils.h"
#include "libkelvane/Utilities.h"

#include <windows.h>

namespace kelvane::bst {

std::optional<std::uint32_t> runLogman(const std::wstring& commandLine) {
    constexpr std::uint64_t limitMs = 300'000;
    try {
        return executeTimed(
            commandLine, {.program = PathUtils::systemDirectory() / L"logman.exe", .creationFlags = CREATE_NO_WINDOW},
            limitMs);
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

} // namespace kelvane::bst
