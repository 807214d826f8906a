#include "OstravelInstaller/flows/ReinstallPreparation.h"

#include "OstravelInstaller/flows/PreserveConfiguration.h"
#include "OstravelInstaller/package/MsiInstallation.h"
#include "OstravelInstaller/package/MsiProperties.h"

namespace kelvane::bst {

InstallerFile prepareInstaller(RunContext& context) {
    InstallerFile installer(installerPath(context));
    appendInstallAfterCleaning(context.msiArguments);
    packageCommandLine(context, installer.path(), configDirForPackage(context));
    return installer;
}

} // namespace kelvane::bst
