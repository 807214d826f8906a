; What many would hand out in the installer's place: unpacks the same payload and runs the package with the properties that
; its command line has, and ends with what Windows Installer says. bench/wrapper.py builds and runs it.
Unicode true
Target amd64-unicode
SetCompressor ${COMPRESSOR}
OutFile "${OUT}"
SilentInstall silent
RequestExecutionLevel admin
!include FileFunc.nsh

Section
    InitPluginsDir
    SetOutPath $PLUGINSDIR
    File "${PAYLOAD}/*"
    ${GetParameters} $0
    ExecWait '"$SYSDIR\msiexec.exe" $0 /qn /norestart /i "$PLUGINSDIR\KelvaneInstaller.msi"' $1
    SetOutPath $TEMP
    RMDir /r $PLUGINSDIR
    SetErrorLevel $1
SectionEnd
