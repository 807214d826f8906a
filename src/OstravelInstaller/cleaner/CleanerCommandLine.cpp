#include "OstravelInstaller/cleaner/CleanerCommandLine.h"

#include "libwin32/CommandLine.h"
#include "libwin32/Text.h"

#include <stdexcept>

namespace kelvane::bst {
namespace {

using win32::formatText;

std::string checkedValue(const std::string& value) {
    if (value.find_first_of(std::string_view("\"\r\n\0", 4)) != std::string::npos) {
        throw std::runtime_error("A value for the cleaner holds a double quote, a NUL or a line break");
    }
    return value;
}

std::wstring siteTokenText(const std::optional<std::string>& siteToken) {
    if (!siteToken) return {};
    return formatText(L" -t \"%S\"", win32::toUtf8(win32::escapeQuoted(win32::toWide(checkedValue(*siteToken)))));
}

std::wstring diagUidText(const std::optional<std::string>& diagUid) {
    if (!diagUid) return {};
    return formatText(L" --diag_uid %S", win32::toUtf8(win32::quoteIfNeeded(win32::toWide(checkedValue(*diagUid)))));
}

} // namespace

std::wstring cleaningCommandLine(const std::filesystem::path& cleaner, const CleanerOptions& options) {
    std::wstring text = formatText(L"\"%s\"", cleaner.native());
    if (options.statelessUpgrade) text += L" --stateless_upgrade 1";
    text += siteTokenText(options.siteToken);
    if (!options.diagnostics) text += L" -d 0";
    if (!options.lm) text += L" -l 1";
    if (options.healthCheckMode != 0) text += formatText(L" -H %u", options.healthCheckMode);
    if (options.uninstallOnly) text += L" -u 1";
    text += diagUidText(options.diagUid);
    text += formatText(L" -v %u", options.verbosityLevel);
    return text + L" --log 0";
}

std::wstring diagnosticsCommandLine(const std::filesystem::path& cleaner, const DiagnosticsOptions& options) {
    std::wstring text = formatText(L"\"%s\" -c 0 -d 1", cleaner.native());
    text += L" --log 0";
    text += siteTokenText(options.siteToken);
    text += diagUidText(options.diagUid);
    if (options.level) text += formatText(L" -v %u", *options.level);
    return text;
}

} // namespace kelvane::bst
