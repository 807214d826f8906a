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

std::wstring firstPart(const ContinuationArguments& arguments) {
    return formatText(L"-q -r \"%d\" -t \"%S\" INSTALLATION_ID=%s tmd=\"%s\"", static_cast<int>(arguments.action),
                      escapeQuoted8(arguments.siteToken), quoteIfNeeded(arguments.installationId),
                      escapeQuoted(arguments.options.tmd.value));
}

std::wstring values(const ContinuationArguments& arguments) {
    const Options& options = arguments.options;
    std::wstring text;
    if (arguments.reinstallReason) text += formatText(L" BST_REINSTALL_REASON=%s", *arguments.reinstallReason);
    if (options.installer_arguments.given) {
        text += formatText(L" -a \"%s\"", escapeQuoted(options.installer_arguments.value));
    }
    if (arguments.i) text += formatText(L" -i \"%s\"", escapeQuoted(*arguments.i));
    if (arguments.u) text += formatText(L" -u \"%S\"", escapeQuoted8(*arguments.u));
    if (arguments.m) text += formatText(L" -m \"%S\"", escapeQuoted8(*arguments.m));
    if (!options.ppc.value.empty()) text += formatText(L" --ppc=\"%s\"", escapeQuoted(options.ppc.value));
    if (!arguments.diagnosticUid.empty()) {
        text += formatText(L" --diagnostic_UID=%s", quoteIfNeeded(arguments.diagnosticUid));
    }
    return text;
}

std::wstring switches(const Options& options) {
    const std::pair<const Option<bool>&, std::wstring_view> table[] = {
        {options.reboot_on_need, L" -b"},
        {options.diagnostics, L" --diagnostics"},
        {options.send_log, L" --send_log"},
        {options.dont_fail_on_config_preserving_failures, L" --dont_fail_on_config_preserving_failures"},
        {options.pmu, L" --pmu"},
    };
    std::wstring text;
    for (const auto& [option, name] : table) {
        if (option.value) text += name;
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
    auto text = firstPart(arguments) + values(arguments) + switches(arguments.options);
    if (text.find_first_of(std::wstring_view(L"\r\n\0", 3)) != std::wstring::npos) {
        throw std::runtime_error("A value for the run after the reboot holds a NUL or a line break");
    }
    return text;
}

} // namespace kelvane::bst
