#include "OstravelInstaller/continuation/RebootContinuation.h"

#include "OstravelInstaller/context/Messages.h"
#include "OstravelInstaller/continuation/ContinuationFolder.h"
#include "OstravelInstaller/continuation/ContinuationState.h"
#include "OstravelInstaller/continuation/ContinuationTask.h"
#include "ProductLib/InstallerEvents.h"
#include "SharedLib/InstalledAgent.h"
#include "libkelvane/UserLog.h"
#include "libwin32/CommandLine.h"

#include <stdexcept>

namespace kelvane::bst {
namespace {

ContinuationArguments argumentsOf(const RunContext& context, PostRebootAction action) {
    ContinuationArguments arguments{.options = context.asked.cmdLine.options(), .action = action};
    arguments.siteToken = context.found.siteToken.value_or("");
    arguments.installationId = context.asked.installationId;
    if (const auto reason = context.decided.reinstallReason) arguments.reinstallReason = reinstallReasonName(*reason);
    arguments.diagnosticUid = context.asked.diagUid;
    return arguments;
}

ContinuationState stateFor(const RunContext& context, PostRebootAction action, bool guard) {
    ContinuationState state = stateOf(context);
    state.guard = guard;
    state.packageStarted = action == PostRebootAction::Install && context.continuation.packageStarted;
    state.arguments = continuationCommandLine(argumentsOf(context, action));
    state.copy = context.continuation.copy;
    // The same step again; another one begins to count anew.
    if (state.arguments == context.continuation.arguments) state.boots = context.continuation.boots;
    return state;
}

bool registerTask(Continuation& continuation, const std::wstring& arguments) noexcept {
    try {
        registerContinuationTask(copyIn(continuation.folder), arguments);
        continuation.arguments = arguments;
        return true;
    } catch (const std::exception& error) {
        logTaskFailure("ScheduleContinuationOnNextBootFailed", error);
        userLog(LogLevel::Error, messages::taskNotCreated);
        return false;
    }
}

// The folder that the task is to start from, with all that lies in it.
Copy makeFolder(const RunContext& context, ContinuationState state) {
    Copy copy;
    try {
        copy = makeCopy(context.carried.baseFolder);
        state.copy = copy.digest;
        saveState(copy.folder, state);
        return copy;
    } catch (const std::exception& error) {
        userLog(LogLevel::Error, error.what());
        if (!copy.folder.empty()) removeCopy(copy.folder);
        throw std::runtime_error("Failed to create copy of current OstravelInstaller.");
    }
}

bool begin(RunContext& context, const ContinuationState& state) {
    auto& continuation = context.continuation;
    // What the task service puts before the arguments, and a reason that is found later.
    constexpr std::size_t room = 128;
    win32::checkCommandLine(context.carried.baseFolder.path().native() + std::wstring(room, L' ') + state.arguments);
    const Copy copy = makeFolder(context, state);
    continuation.folder = copy.folder;
    continuation.copy = copy.digest;
    if (!registerTask(continuation, state.arguments)) {
        removeCopy(continuation.folder);
        continuation.folder.clear();
        return false;
    }
    // The task is now this run's: what it started before is of no use.
    if (!continuation.found.empty()) removeCopy(continuation.found);
    continuation.found.clear();
    return true;
}

// The state goes before the task's arguments, so it is the state that makes the change. What fails leaves things as
// they stood, but for a step that was tried for the last time: a state that says it again would have it repeated.
bool change(RunContext& context, const ContinuationState& state) noexcept {
    auto& continuation = context.continuation;
    const bool sameStep = state.arguments == continuation.arguments;
    try {
        saveState(continuation.folder, state);
        continuation.boots = state.boots;
    } catch (const std::exception& error) {
        logEvent(LogLevel::Error, "ContinuationStateNotWritten", {{"ErrorMsg", error.what()}});
        if (!sameStep && !mayTryAgain(context)) dropState(continuation.folder);
    }
    return sameStep || registerTask(continuation, state.arguments);
}

bool schedule(RunContext& context, const ContinuationState& state) {
    return context.continuation.folder.empty() ? begin(context, state) : change(context, state);
}

// The agent that this run found or removed is gone, and no new one is there; also when that cannot be found out.
bool agentLost(const RunContext& context) noexcept {
    try {
        return !context.asked.cmdLine->clean_only.value && !agentStillInstalled();
    } catch (const std::exception&) {
        return true;
    }
}

// What a run left behind that had no verdict to end with, or that refused to begin where another had been cut off.
bool hasNotEnded(const RunContext& context) noexcept {
    return context.reported.brokenOff ||
           (context.reported.result == InstallerResult::RequirementsNotMet && agentLost(context));
}

bool isStillNeeded(const RunContext& context) noexcept {
    const auto& continuation = context.continuation;
    if (continuation.own) return hasNotEnded(context) && mayTryAgain(context);
    if (!continuation.folder.empty()) return context.reported.brokenOff && agentLost(context);
    return !between(context.reported.result, 0, 299) && agentLost(context);
}

} // namespace

bool registerContinuation(RunContext& context, PostRebootAction action) {
    logEvent(LogLevel::Verbose, "ContinueOnNextBoot", {{"PostRebootAction", static_cast<std::uint32_t>(action)}});
    const bool guarded = !context.continuation.folder.empty();
    const bool registered = schedule(context, stateFor(context, action, false));
    if (!registered && !(guarded && mayTryAgain(context))) return false;
    context.continuation.scheduled = true;
    logEvent(LogLevel::Verbose, "ScheduleContinuationOnNextBootSucceeded");
    userLog(LogLevel::Information, "OstravelInstaller will begin running automatically after a reboot.");
    return true;
}

bool registerGuard(RunContext& context, PostRebootAction action) {
    const auto state = stateFor(context, action, true);
    // A run that the task started may find that somebody has deleted it since.
    if (context.continuation.nothingFound) context.continuation.arguments.clear();
    return schedule(context, state);
}

void guardPackage(RunContext& context) noexcept {
    if (context.continuation.folder.empty()) return;
    try {
        context.continuation.packageStarted = true;
        change(context, stateFor(context, PostRebootAction::Install, true));
    } catch (const std::exception& error) {
        logEvent(LogLevel::Error, "ContinuationStateNotWritten", {{"ErrorMsg", error.what()}});
    }
}

void lookForContinuation(RunContext& context) noexcept {
    auto& continuation = context.continuation;
    const FoundTask task = findContinuationTask(context.carried.baseFolder);
    continuation.nothingFound = task.answer == TaskAnswer::None;
    if (task.answer != TaskAnswer::Ours || continuation.own) return;
    continuation.found = task.folder;
    const auto state = loadState(task.folder);
    // A state that cannot be read keeps nobody from anything; it stays for the boot until this run has done better.
    continuation.foundGuard = !state || state->guard;
    if (!state) return;
    continuation.copy = state->copy;
    if (state->guard) logEvent(LogLevel::Verbose, "GuardOfAnEndedRunFound");
}

bool waitsForReboot(RunContext& context) noexcept {
    const auto& continuation = context.continuation;
    if (continuation.found.empty() || continuation.foundGuard) return false;
    try {
        const std::string fault = faultOfCopy(continuation.found, continuation.copy);
        if (fault.empty()) return true;
        logEvent(LogLevel::Warning, "ContinuationDamaged", {{"ErrorMsg", fault}});
    } catch (const std::exception& error) {
        userLog(LogLevel::Error, error.what());
        return true;
    }
    forgetContinuation(context);
    return false;
}

void refuseEndlessBoots(const RunContext& context) {
    if (context.continuation.boots <= mostBoots) return;
    throw std::runtime_error("The run after the reboot did not come to its end in three boots");
}

bool mayTryAgain(const RunContext& context) noexcept { return context.continuation.boots < mostBoots; }

void settleContinuation(RunContext& context) noexcept {
    const auto& continuation = context.continuation;
    if (continuation.folder.empty() && continuation.found.empty()) return;
    if (continuation.scheduled || context.asked.cmdLine->diagnostics_only.value || isStillNeeded(context)) return;
    if (continuation.own && context.reported.brokenOff) {
        logEvent(LogLevel::Error, "ContinuationGivenUp", {{"Boots", continuation.boots}});
    }
    forgetContinuation(context);
}

void forgetContinuation(RunContext& context) noexcept {
    auto& continuation = context.continuation;
    if (continuation.folder.empty() && continuation.found.empty()) return;
    if (!deleteContinuationTask()) return;
    for (auto* folder : {&continuation.folder, &continuation.found}) {
        if (!folder->empty()) removeCopy(*folder);
        folder->clear();
    }
    // Now that nothing waits for a boot, what a killed run has left is nobody's.
    removeStaleFolders(context.carried.baseFolder, context.carried.tempDir);
}

} // namespace kelvane::bst
