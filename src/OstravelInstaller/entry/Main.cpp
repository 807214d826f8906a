#include "OstravelInstaller/context/Messages.h"
#include "OstravelInstaller/continuation/OwnImage.h"
#include "OstravelInstaller/run/LastResort.h"
#include "OstravelInstaller/run/RunDriver.h"
#include "OstravelInstallerLib/Console.h"
#include "libkelvane/PathUtils.h"

#include <windows.h>

#include <exception>
#include <format>
#include <optional>

using namespace kelvane::bst;

namespace {

// From here on libraries come from the system's own folder only, whatever lies beside the executable.
std::optional<InstallerResult> restrictDllSearch() {
    const HMODULE kernel = GetModuleHandleW(L"kernel32.dll");
    using SetDirectories = BOOL(WINAPI*)(DWORD);
    const auto setDirectories = reinterpret_cast<SetDirectories>(
        reinterpret_cast<void*>(kernel ? GetProcAddress(kernel, "SetDefaultDllDirectories") : nullptr));
    if (!setDirectories) return InstallerResult::DllDirectoriesMissing;
    if (!setDirectories(LOAD_LIBRARY_SEARCH_SYSTEM32)) return InstallerResult::DllDirectoriesFailed;
    return std::nullopt;
}

InstallerResult runToTheEnd() {
    try {
        // Whoever starts this program, or his registry, chose what the environment says.
        kelvane::PathUtils::restoreEnvironment();
        return runOstravelInstaller();
    } catch (const std::exception&) {
        // The log could not be opened, so there is no place for the error but the screen.
        printLine(messages::unexpectedError);
        return InstallerResult::UnexpectedError;
    }
}

} // namespace

extern "C" int WinMainCRTStartup();

// Where Windows starts the program, as the link options say: what fails while the run-time library and the libraries of
// the program get ready is no different from what fails later.
extern "C" int startProgram() {
    installLastResort();
    return WinMainCRTStartup();
}

int WINAPI wWinMain(HINSTANCE, HINSTANCE, PWSTR, int) {
    holdOwnImage();
    if (const auto refused = restrictDllSearch()) return static_cast<int>(code(*refused));
    const InstallerResult result = runToTheEnd();
    if (hasConsoleWindow()) {
        printLine(std::format(L"{}{}", messages::finishedWithCode, code(result)));
        printLine(messages::pressEnter);
        waitForEnter();
    }
    return static_cast<int>(code(result));
}
