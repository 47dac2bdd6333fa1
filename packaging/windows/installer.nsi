; The installer for one user: no administrator rights, nothing outside of the user's own folders and registry.
; scripts/package-windows.sh calls makensis with
;   PRODUCT_FILE   what CMake knows of the program (product.nsh)
;   FILES_FILE     the macros InstallFiles and RemoveFiles, made from what is staged
;   SIDE_PICTURE   beside the words of the last page, a bitmap of 164 by 314 pixels
;   INSTALLED_KIB  what the files take on disk
;   OUTPUT         the installer to write
;
; Command line: /S installs without a question, /D=FOLDER (last, without quotes) chooses the folder, /DESKTOP and
; /PATH take the options that are off at first, /NOTYPE leaves the file type alone. Exit codes: 0 installed,
; 1 cancelled, 2 not possible, 3 Tessivar is running.

Unicode true
Target amd64-unicode
ManifestDPIAware true
ManifestSupportedOS Win10
RequestExecutionLevel user
SetCompressor /SOLID lzma
SetCompressorDictSize 32

!include MUI2.nsh
!include FileFunc.nsh
!include LogicLib.nsh
!include Sections.nsh
!include WinVer.nsh
!include "${PRODUCT_FILE}"
!include "${FILES_FILE}"
!include "${__FILEDIR__}/path.nsh"

!define UNINSTALL_KEY "Software\Microsoft\Windows\CurrentVersion\Uninstall\${PRODUCT}"
!define APP_PATH_KEY "Software\Microsoft\Windows\CurrentVersion\App Paths\tessivar.exe"
!define TYPE_KEY "Software\Classes\Tessivar.Group"
!define ENDING_KEY "Software\Classes\.dls"

Name "${PRODUCT}"
OutFile "${OUTPUT}"
InstallDir "$LOCALAPPDATA\Programs\${PRODUCT}"
InstallDirRegKey HKCU "${UNINSTALL_KEY}" InstallLocation
BrandingText "${PRODUCT} ${VERSION}"
AllowSkipFiles off

VIProductVersion "${VERSION}.0"
VIAddVersionKey ProductName "${PRODUCT}"
VIAddVersionKey ProductVersion "${VERSION}"
VIAddVersionKey FileVersion "${VERSION}"
VIAddVersionKey FileDescription "${PRODUCT} installer"
VIAddVersionKey CompanyName "${PUBLISHER}"
VIAddVersionKey LegalCopyright "Copyright ${PUBLISHER}, GNU General Public License 3"

!define MUI_ICON "${PROGRAM_ICON}"
!define MUI_UNICON "${PROGRAM_ICON}"
!define MUI_WELCOMEFINISHPAGE_BITMAP "${SIDE_PICTURE}"
!define MUI_COMPONENTSPAGE_SMALLDESC
!define MUI_FINISHPAGE_RUN "$INSTDIR\tessivar.exe"
!define MUI_PAGE_CUSTOMFUNCTION_LEAVE LeaveFolderPage
!insertmacro MUI_PAGE_DIRECTORY
!insertmacro MUI_PAGE_COMPONENTS
!insertmacro MUI_PAGE_INSTFILES
!insertmacro MUI_PAGE_FINISH
!insertmacro MUI_UNPAGE_CONFIRM
!insertmacro MUI_UNPAGE_INSTFILES
!insertmacro MUI_LANGUAGE English

; The folder that an earlier installer filled, empty when there is none.
Var previousFolder

; An icon-stop message, or in silent mode the exit code alone.
!macro Refuse code text
    SetErrorLevel ${code}
    MessageBox MB_OK|MB_ICONSTOP "${text}" /SD IDOK
    Quit
!macroend

; The system lets nobody write to a program that runs. Asked again until it is closed; never ended from here,
; because there may be unsaved work in it.
!macro WaitUntilClosed program folder
    ${If} ${FileExists} "${folder}\${program}"
        ${Do}
            ClearErrors
            FileOpen $0 "${folder}\${program}" a
            ${IfNot} ${Errors}
                FileClose $0
                ${ExitDo}
            ${EndIf}
            ${If} ${Cmd} `MessageBox MB_RETRYCANCEL|MB_ICONEXCLAMATION \
                "${PRODUCT} is running (${program}). Close it, then choose Retry." /SD IDCANCEL IDCANCEL`
                SetErrorLevel 3
                Quit
            ${EndIf}
        ${Loop}
    ${EndIf}
!macroend

!macro Remember name section
    StrCpy $0 0
    ${If} ${SectionIsSelected} ${section}
        StrCpy $0 1
    ${EndIf}
    WriteRegDWORD HKCU "${UNINSTALL_KEY}" "${name}" $0
!macroend

; What was chosen at the last installation holds for an upgrade; an option of the command line comes first.
!macro Recall name section option selected
    ReadRegDWORD $0 HKCU "${UNINSTALL_KEY}" "${name}"
    ${If} $0 == 1
        !insertmacro SelectSection ${section}
    ${ElseIf} $0 == 0
    ${AndIf} $previousFolder != ""
        !insertmacro UnselectSection ${section}
    ${EndIf}
    ${GetParameters} $0
    ClearErrors
    ${GetOptions} $0 ${option} $1
    ${IfNot} ${Errors}
        !insertmacro ${selected} ${section}
    ${EndIf}
!macroend

; Our files are never put among those of somebody else, where they might replace one. $0 is 1 for such a folder.
Function FindFilesOfOthers
    StrCpy $0 0
    ${IfNot} ${FileExists} "$INSTDIR\uninstall.exe"
        ${DirState} "$INSTDIR" $0
    ${EndIf}
FunctionEnd

Function LeaveFolderPage
    Call FindFilesOfOthers
    ${If} $0 == 1
        MessageBox MB_OK|MB_ICONEXCLAMATION "There are files in $INSTDIR. Choose another folder, or a new one in it."
        Abort
    ${EndIf}
FunctionEnd

Section "${PRODUCT}" sectionProgram
    SectionIn RO
    Call FindFilesOfOthers ; silent installation has no page that asks
    ${If} $0 == 1
        !insertmacro Refuse 2 "There are files in $INSTDIR."
    ${EndIf}
    !insertmacro WaitUntilClosed tessivar.exe $INSTDIR
    !insertmacro WaitUntilClosed tessivar-cli.exe $INSTDIR

    ; The earlier version knows its own files and leaves those of the user.
    ${If} $previousFolder != ""
        !insertmacro WaitUntilClosed tessivar.exe $previousFolder
        !insertmacro WaitUntilClosed tessivar-cli.exe $previousFolder
        ClearErrors
        ExecWait '"$previousFolder\uninstall.exe" /S _?=$previousFolder' $0
        ${If} ${Errors}
        ${OrIf} $0 != 0
            !insertmacro Refuse 2 "The installed version could not be removed from $previousFolder."
        ${EndIf}
        Delete "$previousFolder\uninstall.exe"
        RMDir "$previousFolder"
    ${EndIf}

    ; First what takes everything away again, should a file not be written.
    SetOutPath "$INSTDIR"
    WriteUninstaller "$INSTDIR\uninstall.exe"
    WriteRegStr HKCU "${UNINSTALL_KEY}" DisplayName "${PRODUCT}"
    WriteRegStr HKCU "${UNINSTALL_KEY}" DisplayVersion "${VERSION}"
    WriteRegStr HKCU "${UNINSTALL_KEY}" Publisher "${PUBLISHER}"
    WriteRegStr HKCU "${UNINSTALL_KEY}" DisplayIcon "$INSTDIR\tessivar.exe"
    WriteRegStr HKCU "${UNINSTALL_KEY}" InstallLocation "$INSTDIR"
    WriteRegStr HKCU "${UNINSTALL_KEY}" UninstallString '"$INSTDIR\uninstall.exe"'
    WriteRegStr HKCU "${UNINSTALL_KEY}" QuietUninstallString '"$INSTDIR\uninstall.exe" /S'
    WriteRegStr HKCU "${UNINSTALL_KEY}" URLInfoAbout "${HOMEPAGE}"
    WriteRegStr HKCU "${UNINSTALL_KEY}" HelpLink "${CONTACT}"
    WriteRegDWORD HKCU "${UNINSTALL_KEY}" VersionMajor ${VERSION_MAJOR}
    WriteRegDWORD HKCU "${UNINSTALL_KEY}" VersionMinor ${VERSION_MINOR}
    WriteRegDWORD HKCU "${UNINSTALL_KEY}" EstimatedSize ${INSTALLED_KIB}
    WriteRegDWORD HKCU "${UNINSTALL_KEY}" NoModify 1
    WriteRegDWORD HKCU "${UNINSTALL_KEY}" NoRepair 1
    !insertmacro InstallFiles

    WriteRegStr HKCU "${APP_PATH_KEY}" "" "$INSTDIR\tessivar.exe"
    SetOutPath "$INSTDIR" ; the folder that shortcuts start in
    CreateShortcut "$SMPROGRAMS\${PRODUCT}.lnk" "$INSTDIR\tessivar.exe"
SectionEnd

Section "Open group files (.dls) with ${PRODUCT}" sectionType
    WriteRegStr HKCU "${TYPE_KEY}" "" "${PRODUCT} group"
    WriteRegStr HKCU "${TYPE_KEY}\DefaultIcon" "" '"$INSTDIR\tessivar.exe",-2'
    WriteRegStr HKCU "${TYPE_KEY}\shell" "" open
    WriteRegStr HKCU "${TYPE_KEY}\shell\open\command" "" '"$INSTDIR\tessivar.exe" "%1"'
    WriteRegStr HKCU "${ENDING_KEY}\OpenWithProgids" Tessivar.Group ""

    ; Another program's claim on the ending comes back when this one goes.
    ReadRegStr $0 HKCU "${ENDING_KEY}" ""
    ${If} $0 != ""
    ${AndIf} $0 != Tessivar.Group
        WriteRegStr HKCU "${UNINSTALL_KEY}" PreviousType $0
    ${EndIf}
    WriteRegStr HKCU "${ENDING_KEY}" "" Tessivar.Group
    ${RefreshShellIcons}
SectionEnd

Section /o "Shortcut on the desktop" sectionDesktop
    SetOutPath "$INSTDIR"
    CreateShortcut "$DESKTOP\${PRODUCT}.lnk" "$INSTDIR\tessivar.exe"
SectionEnd

Section /o "tessivar-cli for the command prompt (PATH)" sectionPath
    !insertmacro AddToPath "$INSTDIR"
SectionEnd

Section -
    !insertmacro Remember ChoseType ${sectionType}
    !insertmacro Remember ChoseDesktop ${sectionDesktop}
    !insertmacro Remember ChosePath ${sectionPath}
SectionEnd

!insertmacro MUI_FUNCTION_DESCRIPTION_BEGIN
    !insertmacro MUI_DESCRIPTION_TEXT ${sectionProgram} "The program with the window, tessivar-cli for the command line, the manual and a session to try."
    !insertmacro MUI_DESCRIPTION_TEXT ${sectionType} "A double-click on a group file opens it in ${PRODUCT}."
    !insertmacro MUI_DESCRIPTION_TEXT ${sectionDesktop} "The start menu has one in any case."
    !insertmacro MUI_DESCRIPTION_TEXT ${sectionPath} "Command prompts that are opened afterwards find tessivar-cli by its name."
!insertmacro MUI_FUNCTION_DESCRIPTION_END

Function .onInit
    ${IfNot} ${AtLeastWin10}
        !insertmacro Refuse 2 "${PRODUCT} needs Windows 10 or 11."
    ${EndIf}

    ; Held until this program ends.
    System::Call 'kernel32::CreateMutexW(p 0, i 0, w "${PRODUCT} installer") p .r0 ?e'
    Pop $0
    ${If} $0 = 183
        !insertmacro Refuse 2 "The installer is running already."
    ${EndIf}

    ReadRegStr $previousFolder HKCU "${UNINSTALL_KEY}" InstallLocation
    ${IfNot} ${FileExists} "$previousFolder\uninstall.exe"
        StrCpy $previousFolder ""
    ${EndIf}
    !insertmacro Recall ChoseType ${sectionType} /NOTYPE UnselectSection
    !insertmacro Recall ChoseDesktop ${sectionDesktop} /DESKTOP SelectSection
    !insertmacro Recall ChosePath ${sectionPath} /PATH SelectSection
FunctionEnd

Function un.onInit
    !insertmacro WaitUntilClosed tessivar.exe $INSTDIR
    !insertmacro WaitUntilClosed tessivar-cli.exe $INSTDIR
FunctionEnd

; Only what the installer brought: files by their names, folders when nothing else is in them. Settings, group
; files and whatever a user put into the folder stay.
Section Uninstall
    ReadRegStr $0 HKCU "${ENDING_KEY}" ""
    ${If} $0 == Tessivar.Group
        ReadRegStr $0 HKCU "${UNINSTALL_KEY}" PreviousType
        ${If} $0 == ""
            DeleteRegValue HKCU "${ENDING_KEY}" ""
        ${Else}
            WriteRegStr HKCU "${ENDING_KEY}" "" $0
        ${EndIf}
    ${EndIf}
    DeleteRegValue HKCU "${ENDING_KEY}\OpenWithProgids" Tessivar.Group
    DeleteRegKey /ifempty HKCU "${ENDING_KEY}\OpenWithProgids"
    DeleteRegKey /ifempty HKCU "${ENDING_KEY}"
    DeleteRegKey HKCU "${TYPE_KEY}"
    ${RefreshShellIcons}

    ReadRegDWORD $0 HKCU "${UNINSTALL_KEY}" ChosePath
    ${If} $0 = 1
        !insertmacro RemoveFromPath "$INSTDIR"
    ${EndIf}
    ReadRegDWORD $0 HKCU "${UNINSTALL_KEY}" ChoseDesktop
    ${If} $0 = 1
        Delete "$DESKTOP\${PRODUCT}.lnk"
    ${EndIf}
    Delete "$SMPROGRAMS\${PRODUCT}.lnk"
    DeleteRegKey HKCU "${APP_PATH_KEY}"

    !insertmacro RemoveFiles
    Delete "$INSTDIR\uninstall.exe"
    RMDir "$INSTDIR"
    DeleteRegKey HKCU "${UNINSTALL_KEY}"
SectionEnd
