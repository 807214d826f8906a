# Makes a Configuration Manager application; run it from the site's drive, with the console's module (2107 or newer) loaded.
# \\server\share\Ostravel holds OstravelInstaller.exe; Version is the ProductVersion of the package that it carries.
param(
    [Parameter(Mandatory = $true)][string]$SiteToken,
    [string]$Content = '\\server\share\Ostravel',
    [string]$Name = 'Ostravel Agent',
    [string]$Version = '23.3.3.264'
)

$null = New-CMApplication -Name $Name -Publisher 'Ostravel' -SoftwareVersion $Version
$detection = [IO.File]::ReadAllText("$PSScriptRoot\Detect-OstravelAgent.ps1") # whatever drive this runs from
$type = @{
    ApplicationName          = $Name
    DeploymentTypeName       = 'Installer'
    ContentLocation          = $Content
    InstallCommand           = "OstravelInstaller.exe -q -t `"$SiteToken`" --stateless_upgrade 1"
    UninstallCommand         = "OstravelInstaller.exe -q -t `"$SiteToken`" --clean_only --ignore_pending_reboot_request"
    ScriptLanguage           = 'PowerShell'
    ScriptText               = $detection -replace '23\.3\.3\.264', $Version
    InstallationBehaviorType = 'InstallForSystem'
    LogonRequirementType     = 'WhetherOrNotUserLoggedOn'
    UserInteractionMode      = 'Hidden'
    RebootBehavior           = 'BasedOnExitCode'
    MaximumRuntimeMins       = 120
}
$null = Add-CMScriptDeploymentType @type

$returnCodes = @{
    12 = 'Success'; 103 = 'SoftReboot'; 104 = 'SoftReboot'; 200 = 'SoftReboot'; 202 = 'Success'; 203 = 'SoftReboot'
    1000 = 'Success'; 1002 = 'FastRetry'; 1003 = 'FastRetry'
}
$deploymentType = Get-CMDeploymentType -ApplicationName $Name -DeploymentTypeName 'Installer'
foreach ($code in $returnCodes.Keys) {
    Add-CMDeploymentTypeReturnCode -InputObject $deploymentType -ReturnCode $code -CodeType $returnCodes[$code] -Name "$code"
}
