; A folder in the user's PATH. Strings of the installer end at 1024 characters and a PATH may be longer, so it is
; read, changed and written in memory of its own, with its type and every character that is not ours as they were.

; $R0: the path between two semicolons, null when there is no room; $R1: characters in it; $R2: its type
!macro ReadPath spareCharacters
    StrCpy $R0 0
    StrCpy $R2 2 ; REG_EXPAND_SZ, as Windows itself makes it
    System::Call 'advapi32::RegOpenKeyExW(p -2147483647, w "Environment", i 0, i 0x2001F, *p .R4) i .r0'
    ${If} $0 = 0
        StrCpy $R3 0
        System::Call 'advapi32::RegQueryValueExW(p R4, w "Path", p 0, *i .R5, p 0, *i .R3) i .r0'
        ${If} $0 = 0
            StrCpy $R2 $R5
        ${Else}
            StrCpy $R3 0
        ${EndIf}
        IntOp $1 $R3 + 16
        IntOp $2 ${spareCharacters} * 2
        IntOp $1 $1 + $2
        System::Call 'kernel32::LocalAlloc(i 0x40, p $1) p .R0'
        ${If} $R0 P<> 0
            System::Call 'kernel32::lstrcpyW(p R0, w ";")'
            ${If} $R3 > 0
                IntPtrOp $1 $R0 + 2
                System::Call 'advapi32::RegQueryValueExW(p R4, w "Path", p 0, p 0, p r1, *i R3)'
            ${EndIf}
            System::Call 'kernel32::lstrcatW(p R0, w ";")'
            System::Call 'kernel32::lstrlenW(p R0) i .R1'
        ${EndIf}
    ${EndIf}
!macroend

; Writes what lies between the first and the last semicolon, and tells running programs.
!macro WritePath
    IntOp $R1 $R1 - 1
    IntOp $1 $R1 * 2
    IntPtrOp $2 $R0 + $1
    System::Call '*$2(&i2 0)'
    IntPtrOp $2 $R0 + 2
    System::Call 'advapi32::RegSetValueExW(p R4, w "Path", i 0, i R2, p r2, i r1)'
    System::Call 'user32::SendMessageTimeoutW(p 0xFFFF, i ${WM_SETTINGCHANGE}, p 0, w "Environment", i 2, i 5000, p 0)'
!macroend

!macro ClosePath
    System::Call 'kernel32::LocalFree(p R0)'
    System::Call 'advapi32::RegCloseKey(p R4)'
!macroend

!macro AddToPath folder
    StrLen $3 "${folder}"
    !insertmacro ReadPath $3
    ${If} $R0 P<> 0
        System::Call 'shlwapi::StrStrIW(p R0, w ";${folder};") p .r0'
        ${If} $0 P= 0
            ${If} $R1 = 2 ; nothing between the semicolons
                System::Call 'kernel32::lstrcpyW(p R0, w ";")'
            ${EndIf}
            System::Call 'kernel32::lstrcatW(p R0, w "${folder};")'
            System::Call 'kernel32::lstrlenW(p R0) i .R1'
            !insertmacro WritePath
        ${EndIf}
        !insertmacro ClosePath
    ${EndIf}
!macroend

!macro RemoveFromPath folder
    !insertmacro ReadPath 0
    ${If} $R0 P<> 0
        System::Call 'shlwapi::StrStrIW(p R0, w ";${folder};") p .r0'
        ${If} $0 P<> 0
            StrLen $1 ";${folder}"
            IntOp $2 $1 * 2
            IntPtrOp $2 $0 + $2
            System::Call 'kernel32::lstrlenW(p r2) i .r3'
            IntOp $3 $3 + 1
            IntOp $3 $3 * 2
            System::Call 'kernel32::RtlMoveMemory(p r0, p r2, p r3)'
            IntOp $R1 $R1 - $1
            ${If} $R1 > 1
                !insertmacro WritePath
            ${Else}
                System::Call 'advapi32::RegDeleteValueW(p R4, w "Path")'
            ${EndIf}
        ${EndIf}
        !insertmacro ClosePath
    ${EndIf}
!macroend
