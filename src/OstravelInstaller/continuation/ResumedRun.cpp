#include "OstravelInstaller/continuation/ResumedRun.h"

#include "OstravelInstaller/continuation/ContinuationFolder.h"
#include "OstravelInstaller/continuation/ContinuationTask.h"
#include "OstravelInstaller/continuation/OwnImage.h"
#include "ProductLib/InstallerEvents.h"
#include "libkelvane/UserLog.h"

#include <windows.h>

#include <algorithm>
#include <string_view>

namespace kelvane::bst {
namespace {

std::wstring ownArguments() {
    const wchar_t* text = GetCommandLineW();
    const std::wstring_view line = text ? text : L"";
    const bool quoted = line.starts_with(L'"');
    const auto programEnd = line.find(quoted ? L'"' : L' ', quoted ? 1 : 0);
    const auto start = line.find_first_not_of(L"\" ", programEnd);
    return std::wstring(start == std::wstring_view::npos ? L"" : line.substr(start));
}

FileDigest ownDigestIfAny() noexcept {
    try {
        return ownImageDigest();
    } catch (const std::exception& error) {
        userLog(LogLevel::Error, error.what());
        return {};
    }
}

ResumedRun readWhatWasLeft(const std::filesystem::path& folder, const std::wstring& arguments) {
    if (auto state = loadState(folder)) return {folder, std::move(*state)};
    ResumedRun damaged{folder, {}};
    damaged.state.arguments = arguments;
    damaged.state.copy = ownDigestIfAny();
    return damaged;
}

void countBoot(ResumedRun& run) {
    run.state.guard = true;
    ++run.state.boots;
    try {
        saveState(run.folder, run.state);
    } catch (const std::exception& error) {
        logEvent(LogLevel::Error, "ContinuationStateNotWritten", {{"ErrorMsg", error.what()}});
        run.state.boots = std::max(run.state.boots, mostBoots);
    }
}

} // namespace

std::optional<ResumedRun> resumeContinuation(const BaseFolder& baseFolder) noexcept {
    try {
        const auto arguments = ownArguments();
        const auto folder = ownContinuationFolder(baseFolder);
        // The start of what the task passes on; somebody may also start the copy by hand.
        if (!folder || !arguments.starts_with(L"-q -r ")) return std::nullopt;
        auto run = readWhatWasLeft(*folder, arguments);
        countBoot(run);
        return run;
    } catch (const std::exception& error) {
        logEvent(LogLevel::Error, "ContinuationStateUnreadable", {{"ErrorMsg", error.what()}});
        return std::nullopt;
    }
}

void giveUp(const ResumedRun& resumed) noexcept {
    logEvent(LogLevel::Error, "ContinuationGivenUp", {{"Boots", resumed.state.boots}});
    if (deleteContinuationTask()) removeCopy(resumed.folder);
}

void continueFrom(RunContext& context, const ResumedRun& resumed) {
    context.continuation.own = true;
    context.continuation.folder = resumed.folder;
    context.continuation.arguments = resumed.state.arguments;
    context.continuation.copy = resumed.state.copy;
    context.continuation.boots = resumed.state.boots;
    context.continuation.packageStarted = resumed.state.packageStarted;
}

} // namespace kelvane::bst
