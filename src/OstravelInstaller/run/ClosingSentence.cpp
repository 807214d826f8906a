#include "OstravelInstaller/run/ClosingSentence.h"

#include "OstravelInstaller/context/Messages.h"
#include "SharedLib/InstalledAgent.h"

#include <algorithm>
#include <format>
#include <iterator>

namespace kelvane::bst {
namespace {

// Why the agent that is there, or the lack of one, is not the end of it; or that it is.
enum class Ahead { Nothing, NextBoot, Removal };

struct Sentence {
    Ahead ahead;
    bool agent;
    bool installed; // by this run
    std::wstring_view text;
};

constexpr Sentence sentences[] = {
    {Ahead::Nothing, true, true, messages::agentIsNow},
    {Ahead::Nothing, true, false, messages::agentIsStill},
    {Ahead::Nothing, false, false, messages::noAgent},
    {Ahead::NextBoot, true, false, messages::agentUntilReboot},
    {Ahead::NextBoot, false, false, messages::noAgentUntilReboot},
    {Ahead::Removal, true, false, messages::agentGoesAtReboot},
    {Ahead::Removal, false, false, messages::agentGoesAtReboot},
};

Ahead aheadOf(InstallerResult result, const Continuation& continuation) {
    if (result == InstallerResult::RemovalCompletesAfterReboot) return Ahead::Removal;
    const bool left = continuation.scheduled || !continuation.folder.empty() || !continuation.found.empty();
    return left ? Ahead::NextBoot : Ahead::Nothing;
}

} // namespace

std::wstring closingSentence(const Reported& reported, const Continuation& continuation) {
    const Ahead ahead = aheadOf(reported.result, continuation);
    const bool agent = agentStillInstalled();
    const bool installed = agent && ahead == Ahead::Nothing && isSuccess(reported.result) && reported.installationDone;
    const auto* row = std::ranges::find_if(sentences, [&](const Sentence& sentence) {
        return sentence.ahead == ahead && sentence.agent == agent && sentence.installed == installed;
    });
    const auto found = findInstalledAgent();
    const std::wstring name = found.versionFound ? L"Ostravel Agent " + found.version.str() : L"An Ostravel Agent";
    return std::vformat(row->text, std::make_wformat_args(name));
}

} // namespace kelvane::bst
