#include "OstravelInstaller/continuation/ContinuationCommandLine.h"

#include "libwin32/CommandLine.h"
#include "libwin32/Text.h"

#include <stdexcept>

namespace kelvane::bst {
namespace {

using win32::escapeQuoted;
using win32::formatText;
using win32::quoteIfNeeded;
using win32::toUtf8;
using win32::toWide;

std::string escapeQuoted8(const std::string& value) { return toUtf8(escapeQuoted(toWide(value))); }
std::string quoteIfNeeded8(const std::string& value) { return toUtf8(quoteIfNeeded(toWide(value))); }

std::wstring firstPart(const ContinuationArguments& arguments) {
    return formatText(L"-q -r \"%d\" -t \"%S\" INSTALLATION_ID=%s tmd=\"%s\"", static_cast<int>(arguments.action),
                      escapeQuoted8(arguments.siteToken), quoteIfNeeded(arguments.installationId),
                      escapeQuoted(arguments.tmd));
}

std::wstring values(const ContinuationArguments& arguments) {
    std::wstring text;
    if (arguments.reinstallReason) text += formatText(L" BST_REINSTALL_REASON=%S", *arguments.reinstallReason);
    if (arguments.installerArguments) text += formatText(L" -a \"%S\"", escapeQuoted8(*arguments.installerArguments));
    if (arguments.i) text += formatText(L" -i \"%s\"", escapeQuoted(*arguments.i));
    if (arguments.u) text += formatText(L" -u \"%S\"", escapeQuoted8(*arguments.u));
    if (arguments.m) text += formatText(L" -m \"%S\"", escapeQuoted8(*arguments.m));
    if (!arguments.ppc.empty()) text += formatText(L" --ppc=\"%s\"", escapeQuoted(arguments.ppc));
    if (arguments.diagnosticUid) {
        text += formatText(L" --diagnostic_UID=%S", quoteIfNeeded8(*arguments.diagnosticUid));
    }
    return text;
}

std::wstring switches(const ContinuationArguments& arguments) {
    const std::pair<bool, std::wstring_view> table[] = {
        {arguments.rebootOnNeed, L" -b"},
        {arguments.diagnostics, L" --diagnostics"},
        {arguments.sendLog, L" --send_log"},
        {arguments.dontFailOnConfigPreservingFailures, L" --dont_fail_on_config_preserving_failures"},
        {arguments.pmu, L" --pmu"},
    };
    std::wstring text;
    for (const auto& [given, name] : table) {
        if (given) text += name;
    }
    return text;
}

} // namespace

PostRebootAction decodePostRebootAction(std::uint32_t value) {
    if (value > static_cast<std::uint32_t>(PostRebootAction::Install)) {
        throw std::runtime_error("Unsupported post reboot action value");
    }
    return static_cast<PostRebootAction>(value);
}

std::wstring continuationCommandLine(const ContinuationArguments& arguments) {
    auto text = firstPart(arguments) + values(arguments) + switches(arguments);
    if (text.find_first_of(std::wstring_view(L"\r\n\0", 3)) != std::wstring::npos) {
        throw std::runtime_error("A value for the run after the reboot holds a NUL or a line break");
    }
    return text;
}

} // namespace kelvane::bst
