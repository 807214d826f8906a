@echo off
rem Group Policy start-up script, beside OstravelInstaller.exe on a share that computer accounts may read and only
rem administrators may write. Installs or upgrades to VERSION, at most ATTEMPTS times, and leaves a machine alone that has
rem it, or a newer one, or where a run after the reboot is scheduled. Never give it -b: with the result 104 that would
rem reboot at every boot.
setlocal
set VERSION=23.3.3.264
set TOKEN=PUT-THE-SITE-TOKEN-HERE
set ATTEMPTS=3
set NOTES=HKLM\SOFTWARE\OstravelRollout

"%SystemRoot%\System32\schtasks.exe" /query /tn Ostravel\OstravelInstaller >nul 2>nul
if not errorlevel 1 exit /b 0

set PRODUCT=
for /f "tokens=3" %%p in ('reg query HKLM\SOFTWARE\Ostravel\Agent /v MSIProductCode /reg:64 2^>nul') do set PRODUCT=%%p
set INSTALLED=0.0.0.0
if not defined PRODUCT goto compare
set ENTRY=HKLM\SOFTWARE\Microsoft\Windows\CurrentVersion\Uninstall\%PRODUCT%
for /f "tokens=3" %%v in ('reg query %ENTRY% /v DisplayVersion /reg:64 2^>nul') do set INSTALLED=%%v

:compare
for /f "tokens=1-8 delims=." %%a in ("%INSTALLED%.%VERSION%") do (
    if %%a gtr %%e exit /b 0
    if %%a lss %%e goto install
    if %%b gtr %%f exit /b 0
    if %%b lss %%f goto install
    if %%c gtr %%g exit /b 0
    if %%c lss %%g goto install
    if %%d geq %%h exit /b 0
)

:install
set TRIED=0
for /f "tokens=3" %%n in ('reg query %NOTES% /v %VERSION% /reg:64 2^>nul') do set /a TRIED=%%n
if %TRIED% geq %ATTEMPTS% exit /b 0
set /a TRIED=TRIED+1
reg add %NOTES% /v %VERSION% /t REG_DWORD /d %TRIED% /f /reg:64 >nul

start "" /wait "%~dp0OstravelInstaller.exe" -q -t "%TOKEN%" --stateless_upgrade 1
exit /b %ERRORLEVEL%
