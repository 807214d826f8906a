# Starts the installer that lies beside this script, waits for it, says what its result means, and ends with it.
# A 103 or 104 without the task that is to go on after the reboot becomes 2000; 1 means that it could not be started.
#
#   powershell.exe -NoProfile -ExecutionPolicy Bypass -File Install-OstravelAgent.ps1 -SiteToken TOKEN
param(
    [Parameter(Mandatory = $true)][string]$SiteToken,
    [string]$Arguments = '--stateless_upgrade 1',
    [string]$Installer = (Join-Path $PSScriptRoot 'OstravelInstaller.exe')
)

$meanings = @{
    0    = 'The agent is installed; with --clean_only: removed.'
    12   = 'The agent was upgraded.'
    103  = 'The work goes on by itself after a restart.'
    104  = 'A run after a restart was scheduled already.'
    200  = 'The removal completes with a restart.'
    201  = 'Diagnostics could not be taken.'
    202  = 'The agent is healthy and stays; old directories were removed.'
    203  = 'The agent is healthy and stays; old directories go with a restart.'
    205  = 'Somebody declined.'
    206  = 'The command line is wrong, or asked for usage or version.'
    1000 = 'The same or a newer agent is installed.'
    1001 = 'The package reported that it did not succeed.'
    1002 = 'Another run is active: try again later.'
    1003 = 'Windows Installer is busy: try again later.'
    1004 = 'The package rejected its command line.'
    2000 = 'Unexpected error, or not ready to replace the agent: read the log.'
    2001 = 'The upgrade failed and nothing else was tried.'
    2002 = 'The agent could not be installed: read the log.'
    2003 = 'The installed agent could not be removed.'
    2004 = 'The removal needs Safe Mode.'
    2006 = 'The configuration of the agent could not be backed up.'
    2007 = 'The monitor driver hangs: restart, then start this again.'
    2008 = 'No site token.'
    2009 = 'The identifier of the installed agent could not be read.'
    2010 = 'Nobody would see the window of a run without -q.'
    2012 = 'The version of the installed agent is unknown.'
    2015 = 'System requirements are not met: the log has the reason.'
    2016 = 'The system lacks an update (restricted library loading).'
    2017 = 'The system refuses to restrict where libraries come from.'
    2018 = 'An older package did not install over a newer agent.'
    2021 = 'The installed agent could not be removed.'
    2022 = 'The package refused the machine.'
    2023 = 'Less than 350 MB are free on the system drive.'
    2025 = 'The installed agent could not be removed.'
}

$process = Start-Process -FilePath $Installer -ArgumentList "-q -t `"$SiteToken`" $Arguments" -PassThru -ErrorAction Stop
$null = $process.Handle # without it the exit code is lost
$process.WaitForExit()
$code = $process.ExitCode

if ($code -eq 103 -or $code -eq 104) {
    & "$env:SystemRoot\System32\schtasks.exe" /query /tn 'Ostravel\OstravelInstaller' 2>&1 | Out-Null
    if ($LASTEXITCODE -ne 0) {
        Write-Output "Result $code, but the task Ostravel\OstravelInstaller is not there."
        $code = 2000
    }
}
$meaning = $meanings[$code]
if (-not $meaning) { $meaning = 'Not a result of this program: was it ended from outside?' }
Write-Output "Result ${code}: $meaning"
exit $code
