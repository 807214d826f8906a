#include "OstravelInstaller/flows/ReinstallPreparation.h"

#include "OstravelInstaller/flows/PackageStep.h"
#include "OstravelInstaller/flows/PreserveConfiguration.h"
#include "OstravelInstaller/package/MsiInstallation.h"
#include "OstravelInstaller/package/MsiProperties.h"

namespace kelvane::bst {

InstallerFile prepareInstaller(RunContext& context) {
    InstallerFile installer(installerPath(context.asked, context.carried.payload));
    appendInstallAfterCleaning(context.decided.msiArguments);
    packageCommandLine(context,
                       {.installer = installer.path(), .currentConfigDir = configDirForPackage(context.carried)});
    return installer;
}

} // namespace kelvane::bst
