; The setup program: makensis -DVERSION=4.54.0 -DFILES=folder -DICON=icon -DSIDE=picture -DOUTPUT=setup.exe setup.nsi
; FILES holds 32-bit\ and 64-bit\ with the program and its component, guide\ and third-party.txt.
;
; Nothing is replaced before all is on the disk: the files go to Setup.new first, then each takes its
; place. What is stopped in between is finished by the next run. Exit code 0 done, 1 cancelled, 2 failed.
Unicode false          ; runs on the 95 family too
SetCompressor /SOLID lzma
SetDateSave off
CRCCheck force
RequestExecutionLevel admin
Name "Brackenfold"
OutFile "${OUTPUT}"
BrandingText "Brackenfold ${VERSION}"

!include LogicLib.nsh
!include x64.nsh
!define MUI_ICON "${ICON}"
!define MUI_UNICON "${ICON}"
!define MUI_WELCOMEFINISHPAGE_BITMAP "${SIDE}"
!define MUI_ABORTWARNING
!include MUI2.nsh

VIProductVersion "${VERSION}.0"
VIFileVersion "${VERSION}.0"
VIAddVersionKey "ProductName" "Brackenfold"
VIAddVersionKey "CompanyName" "Tarnwick Labs"
VIAddVersionKey "FileDescription" "Brackenfold Setup"
VIAddVersionKey "FileVersion" "${VERSION}"
VIAddVersionKey "LegalCopyright" "Tarnwick Labs. All rights reserved."

!define UNINSTALL_KEY "Software\Microsoft\Windows\CurrentVersion\Uninstall\Brackenfold"
!define RUNNING "Brackenfold is running. Close it, and try again."
!define FAILED "could not be written. What was installed before is still there; run this setup again to finish."

!define MUI_FINISHPAGE_RUN "$INSTDIR\Brackenfold.exe"
!define MUI_FINISHPAGE_SHOWREADME "$INSTDIR\Guide\guide.html"
!define MUI_FINISHPAGE_SHOWREADME_TEXT "Show the guide"
!define MUI_FINISHPAGE_SHOWREADME_NOTCHECKED
!define MUI_UNCONFIRMPAGE_TEXT_TOP "The program is removed. Backups, undo records, the log, the ignore list and disabled files stay where they are."
!insertmacro MUI_PAGE_DIRECTORY
!insertmacro MUI_PAGE_INSTFILES
!insertmacro MUI_PAGE_FINISH
!insertmacro MUI_UNPAGE_CONFIRM
!insertmacro MUI_UNPAGE_INSTFILES
!insertmacro MUI_LANGUAGE "English"

; Whether the 64-bit program runs here: on its own processors, and on ARM64 since Windows 11, which tells so by a
; call that those before it lack. There it sees all, as programs of the system's own do.
Var Runs64

; Answers that, and takes the registry view of the program.
!macro UseSystem
    SetShellVarContext all
    StrCpy $Runs64 0
    ${If} ${IsNativeAMD64}
        StrCpy $Runs64 1
    ${ElseIf} ${IsNativeARM64}
        System::Call 'kernel32::GetMachineTypeAttributes(i 0x8664, *i .r1) i .r0'
        ${If} $0 == 0
            IntOp $Runs64 $1 & 1  ; programs of users run
        ${EndIf}
    ${EndIf}
    ${If} $Runs64 = 1
        SetRegView 64
    ${EndIf}
!macroend

; A program that runs can't be opened for writing. Asks again and again; without anybody to ask it ends.
!macro WaitForEnd
    ${Do}
        ${IfNot} ${FileExists} "$INSTDIR\Brackenfold.exe"
            ${Break}
        ${EndIf}
        ClearErrors
        FileOpen $0 "$INSTDIR\Brackenfold.exe" a
        ${IfNot} ${Errors}
            FileClose $0
            ${Break}
        ${EndIf}
        ${If} ${Cmd} `MessageBox MB_RETRYCANCEL|MB_ICONEXCLAMATION "${RUNNING}" /SD IDCANCEL IDCANCEL`
            SetErrorLevel 2
            Quit
        ${EndIf}
    ${Loop}
!macroend

!macro GiveUpAfter FILE
    ${If} ${Errors}
        MessageBox MB_OK|MB_ICONSTOP "$INSTDIR\${FILE} ${FAILED}" /SD IDOK
        SetErrorLevel 2
        Quit
    ${EndIf}
!macroend

; A file of Setup.new takes its place.
!macro PutInPlace FILE
    ClearErrors
    Delete "$INSTDIR\${FILE}"
    Rename "$INSTDIR\Setup.new\${FILE}" "$INSTDIR\${FILE}"
    !insertmacro GiveUpAfter "${FILE}"
!macroend

Function .onInit
    !insertmacro UseSystem
    ${If} $INSTDIR == ""  ; /D= names no folder
        ReadRegStr $INSTDIR HKLM "${UNINSTALL_KEY}" "InstallLocation"
    ${EndIf}
    ${If} $INSTDIR == ""
        StrCpy $INSTDIR "$PROGRAMFILES\Brackenfold"
        ${If} $Runs64 = 1
            StrCpy $INSTDIR "$PROGRAMFILES64\Brackenfold"
        ${EndIf}
    ${EndIf}
FunctionEnd

Section
    !insertmacro WaitForEnd
    SetOverwrite try
    ClearErrors
    SetOutPath "$INSTDIR\Setup.new"
    ${If} $Runs64 = 1
        File "${FILES}/64-bit/Brackenfold.exe"
        File "${FILES}/64-bit/BKFDCustom.dll"
    ${Else}
        File "${FILES}/32-bit/Brackenfold.exe"
        File "${FILES}/32-bit/BKFDCustom.dll"
    ${EndIf}
    File "${FILES}/third-party.txt"
    WriteUninstaller "$INSTDIR\Setup.new\Uninstall.exe"
    SetOutPath "$INSTDIR\Guide"
    File /r "${FILES}/guide/*.*"
    SetOutPath "$INSTDIR"
    !insertmacro GiveUpAfter "Setup.new"

    WriteRegStr HKLM "${UNINSTALL_KEY}" "DisplayName" "Brackenfold"
    WriteRegStr HKLM "${UNINSTALL_KEY}" "DisplayVersion" "${VERSION}"
    WriteRegStr HKLM "${UNINSTALL_KEY}" "DisplayIcon" "$INSTDIR\Brackenfold.exe"
    WriteRegStr HKLM "${UNINSTALL_KEY}" "Publisher" "Tarnwick Labs"
    WriteRegStr HKLM "${UNINSTALL_KEY}" "InstallLocation" "$INSTDIR"
    WriteRegStr HKLM "${UNINSTALL_KEY}" "UninstallString" '"$INSTDIR\Uninstall.exe"'
    WriteRegStr HKLM "${UNINSTALL_KEY}" "QuietUninstallString" '"$INSTDIR\Uninstall.exe" /S'
    WriteRegDWORD HKLM "${UNINSTALL_KEY}" "NoModify" 1
    WriteRegDWORD HKLM "${UNINSTALL_KEY}" "NoRepair" 1
    !insertmacro PutInPlace "Uninstall.exe"
    !insertmacro PutInPlace "third-party.txt"
    !insertmacro PutInPlace "BKFDCustom.dll"
    !insertmacro PutInPlace "Brackenfold.exe"
    RMDir "$INSTDIR\Setup.new"
    CreateShortCut "$SMPROGRAMS\Brackenfold.lnk" "$INSTDIR\Brackenfold.exe"
SectionEnd

Function un.onInit
    !insertmacro UseSystem
FunctionEnd

; Takes away what the setup has put there, and nothing else: the log, the ignore list, Backup, Undo and
; disabled files stay.
Section un.
    !insertmacro WaitForEnd
    ClearErrors
    Delete "$INSTDIR\Brackenfold.exe"
    Delete "$INSTDIR\BKFDCustom.dll"
    ${If} ${Errors}
        MessageBox MB_OK|MB_ICONSTOP "${RUNNING}" /SD IDOK
        SetErrorLevel 2
        Quit
    ${EndIf}
    Delete "$SMPROGRAMS\Brackenfold.lnk"
    RMDir /r "$INSTDIR\Guide"
    RMDir /r "$INSTDIR\Setup.new"
    Delete "$INSTDIR\third-party.txt"
    DeleteRegKey HKLM "${UNINSTALL_KEY}"
    Delete "$INSTDIR\Uninstall.exe"
    RMDir "$INSTDIR"  ; only if nothing is left in it
SectionEnd
