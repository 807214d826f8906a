#include "OstravelInstaller/flows/Diagnostics.h"

#include "OstravelInstaller/cleaner/Cleaner.h"
#include "OstravelInstaller/context/Messages.h"
#include "OstravelInstallerLib/Console.h"
#include "ProductLib/InstallerEvents.h"
#include "libwin32/Text.h"

namespace kelvane::bst {
namespace {

InstallerResult runDiagnostics(const RunContext& context) {
    const Options& options = context.asked.cmdLine.options();
    DiagnosticsOptions diagnostics;
    diagnostics.hideWindow = options.quiet();
    diagnostics.siteToken = options.diagnostics_site_token.given
                                ? std::optional(win32::toUtf8(options.diagnostics_site_token.value))
                                : context.found.siteToken;
    diagnostics.diagUid = win32::toUtf8(context.asked.diagUid);
    diagnostics.level = static_cast<std::uint32_t>(options.diagnostics_verbosity_level.value);
    return runDiagnosticOnlyUsingCleaner(context.carried.payload.contentDirectory(), diagnostics);
}

} // namespace

InstallerResult runDiagnosticsOnly(RunContext& context) {
    printLine(messages::takingDiagnostics);
    context.reported.telemetry.SetValue(TelemetryKey::installerActionType, L"diagnostics");
    if (context.asked.cmdLine->afterReboot()) {
        logEvent(LogLevel::Verbose, "Diagnostics flow executed after reboot");
    }
    return runDiagnostics(context);
}

void takeDiagnostics(const RunContext& context) { runDiagnostics(context); }

} // namespace kelvane::bst
