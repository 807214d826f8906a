#pragma once

#include <string_view>

// What a run says to the person at the machine: printed lines and questions, each text once.
namespace kelvane::bst::messages {

// The run as a whole.
inline constexpr std::wstring_view unexpectedError = L"An unexpected error occurred.";
inline constexpr std::wstring_view finishedWithCode = L"OstravelInstaller finished with code: ";
inline constexpr std::wstring_view pressEnter = L"Press Enter to exit.";
inline constexpr std::wstring_view alreadyRequiresReboot =
    L"OstravelInstaller already requires a reboot.\nOstravelInstaller will begin running automatically after a reboot.";
inline constexpr std::wstring_view askRebootForMonitoring =
    L"Some Dynamic Monitoring capabilities will be enabled after the next endpoint restart. Click Yes to restart now "
    L"or No "
    L"if you plan to manually restart later.";
inline constexpr std::wstring_view askReboot = L"OstravelInstaller requires a reboot. Would you like to reboot now?";

// Initial installation and main flow.
inline constexpr std::wstring_view runningInstaller = L"Running Kelvane Installer";
inline constexpr std::wstring_view takingDiagnostics = L"Taking diagnostics. This may take a few minutes.";
inline constexpr std::wstring_view siteTokenMissing = L"Site token is missing. Terminating.";
inline constexpr std::wstring_view agentUidMissing = L"Failed retrieving the Agent UUID. Terminating.";
inline constexpr std::wstring_view backupFailed = L"Could not backup the old configuration directory.";
inline constexpr std::wstring_view askUpgrade = L"Are you sure you want to upgrade the Ostravel Agent?";
inline constexpr std::wstring_view monitorStuck = L"KelvaneMonitor is stuck.";
inline constexpr std::wstring_view monitorStuckAfterReboot = L"KelvaneMonitor is stuck after reboot. Terminating.";
inline constexpr std::wstring_view rebootBeforeRunning = L"Reboot is required before running OstravelInstaller.";

// Upgrade.
inline constexpr std::wstring_view runningUpgradeTests = L"Running tests to see if the upgrade will succeed.";
inline constexpr std::wstring_view allTestsSucceeded = L"All tests succeeded.";
inline constexpr std::wstring_view upgradingAgent = L"Upgrading the Agent.";
inline constexpr std::wstring_view upgradeCompleted = L"Upgrade completed successfully.";
inline constexpr std::wstring_view patchedInstaller = L"Existing Agent installed using patched installer.";
inline constexpr std::wstring_view agentTooOld = L"Existing Agent is too old.";
inline constexpr std::wstring_view healthCheckFailed = L"Existing Agent didn't pass health check.";
inline constexpr std::wstring_view upgradeNoSpace =
    L"System requirements not met (insufficient space on the endpoint). Terminating the upgrade process.";
inline constexpr std::wstring_view upgradeCancelled = L"The upgrade was cancelled by the user.";
// "before before" stands so in the product's documentation, and tools look for it.
inline constexpr std::wstring_view msiInProgress =
    L"Another MSI installation is already in progress. Complete that installation before before you start this "
    L"installation.";
inline constexpr std::wstring_view msiCommandLineInvalid =
    L"Invalid MSI command line argument. Consult the Windows Installer SDK for detailed command-line help.";
inline constexpr std::wstring_view installedVersionUnknown = L"The current Agent version could not be determined.";
inline constexpr std::wstring_view sameOrNewerInstalled =
    L"The same or a newer version of the Agent is already installed.";
inline constexpr std::wstring_view upgradeDidNotSucceed = L"The upgrade did not succeed.";
inline constexpr std::wstring_view upgradeFailedTerminating = L"Agent upgrade failed. Terminating.";
inline constexpr std::wstring_view upgradeFailed = L"Agent upgrade failed";

// Clean and reinstall.
inline constexpr std::wstring_view requirementsNotMet = L"System requirements not met: ";
inline constexpr std::wstring_view attemptingUninstall =
    L"Attempting to uninstall the current Agent before installing a newer version.";
inline constexpr std::wstring_view uninstalling = L"Uninstalling the current Agent.";
inline constexpr std::wstring_view uninstallMonitorStuck =
    L"The uninstallation failed because KelvaneMonitor is stuck.";
inline constexpr std::wstring_view uninstallFailed = L"OstravelInstaller failed to uninstall the Agent.";
inline constexpr std::wstring_view safeModeRequired = L"Safe mode is required for this operation.";
inline constexpr std::wstring_view healthyCleaned =
    L"Kelvane Agent seems healthy. Old directories cleaning completed successfully.";
inline constexpr std::wstring_view healthyCleanedAfterReboot =
    L"Kelvane Agent seems healthy. Old directories cleaning will be done after a reboot.";
inline constexpr std::wstring_view uninstalled = L"The Agent uninstalled successfully.";
inline constexpr std::wstring_view uninstallAfterReboot = L"Uninstallation will complete after a reboot.";
inline constexpr std::wstring_view agentAlreadyInstalled = L"An Agent is already installed.";
inline constexpr std::wstring_view noSafeModeInstall = L"Cannot install the Agent in Safe Mode.";
inline constexpr std::wstring_view installingAgent = L"Installing the new Agent.";
inline constexpr std::wstring_view rebootBeforeReinstall =
    L"The uninstallation completed successfully. A reboot is required before re-installation.";
inline constexpr std::wstring_view taskNotCreated = L"Failed to create OstravelInstaller's scheduled task.";

// What is on the machine when a run with a person ends; {} is the agent with its version.
inline constexpr std::wstring_view agentIsNow = L"{} is now on this machine.";
inline constexpr std::wstring_view agentIsStill = L"{} is still on this machine.";
inline constexpr std::wstring_view noAgent = L"There is no Ostravel Agent on this machine.";
inline constexpr std::wstring_view agentUntilReboot =
    L"{} is still on this machine; OstravelInstaller goes on by itself after the next reboot.";
inline constexpr std::wstring_view noAgentUntilReboot =
    L"There is no Ostravel Agent on this machine; OstravelInstaller goes on by itself after the next reboot.";
inline constexpr std::wstring_view agentGoesAtReboot =
    L"What is left of the Ostravel Agent on this machine goes with the next reboot.";

// How far the run is, before a percentage or the time that it has taken.
inline constexpr std::wstring_view unpacking = L"Unpacking";
inline constexpr std::wstring_view waitingForPackage = L"Waiting for the package";
inline constexpr std::wstring_view waitingForOthers = L"Waiting for another installation";
inline constexpr std::wstring_view waitingForCleaner = L"Waiting for the cleaner";
inline constexpr std::wstring_view reporting = L"Reporting to the management server";

// The package.
inline constexpr std::wstring_view installationCompleted = L"The installation completed successfully.";

} // namespace kelvane::bst::messages
