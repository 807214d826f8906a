# Detection script for Intune and for Configuration Manager: prints a line when an agent of at least this version is
# installed, nothing when not, and ends with 0 either way. Both take "0 and some output" for detected.
# The ProductVersion of the package carried:
$wanted = [version]'23.3.3.264'

# The 64-bit view, whichever PowerShell runs this.
$machine = [Microsoft.Win32.RegistryKey]::OpenBaseKey('LocalMachine', 'Registry64')
$agent = $machine.OpenSubKey('SOFTWARE\Ostravel\Agent')
$product = if ($agent) { $agent.GetValue('MSIProductCode') }
$entry = if ($product) { $machine.OpenSubKey("SOFTWARE\Microsoft\Windows\CurrentVersion\Uninstall\$product") }
$installed = if ($entry) { $entry.GetValue('DisplayVersion') -as [version] }
if ($installed -and $installed -ge $wanted) { "Ostravel Agent $installed" }
exit 0
