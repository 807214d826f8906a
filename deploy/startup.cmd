@echo off
rem Group Policy start-up script, beside OstravelInstaller.exe on a share that computer accounts may read and only
rem administrators may write. Installs or upgrades to VERSION (the ProductVersion of the package carried), at most ATTEMPTS
rem times, and leaves a machine alone that has it, or a newer one, or where a run after the reboot is scheduled. Never give
rem it -b: with the result 104 that would reboot at every boot.
setlocal
set VERSION=23.3.3.264
set TOKEN=PUT-THE-SITE-TOKEN-HERE
set ATTEMPTS=3
set NOTES=HKLM\SOFTWARE\OstravelRollout
set REG=%SystemRoot%\System32\reg.exe
rem No security warning for a program from a share: nobody would see it, and it would wait for ever.
set SEE_MASK_NOZONECHECKS=1

"%SystemRoot%\System32\schtasks.exe" /query /tn Ostravel\OstravelInstaller >nul 2>nul
if not errorlevel 1 exit /b 0

set PRODUCT=
for /f "tokens=3" %%p in ('%REG% query HKLM\SOFTWARE\Ostravel\Agent /v MSIProductCode /reg:64 2^>nul') do set PRODUCT=%%p
set INSTALLED=0.0.0.0
if not defined PRODUCT goto compare
set ENTRY=HKLM\SOFTWARE\Microsoft\Windows\CurrentVersion\Uninstall\%PRODUCT%
for /f "tokens=3" %%v in ('%REG% query %ENTRY% /v DisplayVersion /reg:64 2^>nul') do set INSTALLED=%%v

:compare
rem A version of three parts ends with 0.
for /f "tokens=1-4 delims=." %%a in ("%INSTALLED%.0") do for /f "tokens=1-4 delims=." %%e in ("%VERSION%.0") do (
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
for /f "tokens=3" %%n in ('%REG% query %NOTES% /v %VERSION% /reg:64 2^>nul') do set /a TRIED=%%n
if %TRIED% geq %ATTEMPTS% exit /b 0
set /a TRIED=TRIED+1
%REG% add %NOTES% /v %VERSION% /t REG_DWORD /d %TRIED% /f /reg:64 >nul

start "" /wait "%~dp0OstravelInstaller.exe" -q -t "%TOKEN%" --stateless_upgrade 1
exit /b %ERRORLEVEL%
