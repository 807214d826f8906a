#include "OstravelInstaller/flows/Diagnostics.h"

#include "OstravelInstaller/cleaner/Cleaner.h"
#include "OstravelInstaller/context/Messages.h"
#include "OstravelInstallerLib/Console.h"
#include "ProductLib/InstallerEvents.h"
#include "libwin32/Text.h"

namespace kelvane::bst {
namespace {

InstallerResult runDiagnostics(RunContext& context) {
    const Options& options = context.cmdLine.options();
    DiagnosticsOptions diagnostics;
    diagnostics.hideWindow = options.quiet();
    diagnostics.siteToken = options.diagnostics_site_token.given
                                ? std::optional(win32::toUtf8(options.diagnostics_site_token.value))
                                : context.siteToken();
    diagnostics.diagUid = win32::toUtf8(context.diagUid);
    diagnostics.level = static_cast<std::uint32_t>(options.diagnostics_verbosity_level.value);
    return runDiagnosticOnlyUsingCleaner(context.payload.contentDirectory(), diagnostics);
}

} // namespace

InstallerResult runDiagnosticsOnly(RunContext& context) {
    printLine(messages::takingDiagnostics);
    context.telemetry.SetValue(TelemetryKey::installerActionType, L"diagnostics");
    if (context.cmdLine->afterReboot()) {
        logEvent(LogLevel::Verbose, "Diagnostics flow executed after reboot");
    }
    return runDiagnostics(context);
}

void takeDiagnostics(RunContext& context) { runDiagnostics(context); }

} // namespace kelvane::bst
