#!/usr/bin/env bash
# Makes the installer for Windows and a zip of the same files that starts from any folder, into
# build/package/windows, and checks them: imports, size, paths, and under Wine what the installer does.
# Called by ./run package windows.
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")/.."

build_folder=$PWD/build/windows
libraries=$PWD/build/windows-libraries
packages=$PWD/build/package/windows
stage=$build_folder/stage
maximum_installer_kib=$((25 * 1024))
source scripts/steps.sh

# What every Windows 10 has. Anything else would have to come along.
system_libraries=(advapi32 avrt bcrypt comctl32 comdlg32 d2d1 dwmapi dwrite dxgi dsound gdi32 imm32 kernel32 mmdevapi
    msvcrt ntdll ole32 oleaut32 opengl32 rpcrt4 secur32 setupapi shell32 shlwapi user32 userenv uxtheme version winhttp wininet
    winmm winspool ws2_32 wsock32)

build ()
{
    bash scripts/setup.sh windows
    bash scripts/windows/libraries.sh tests # the preset configures the tests too
    mkdir -p "$build_folder" "$packages"
    quietly cmake --preset windows
    build_quietly Tessivar tessivar-cli tessivar_manual
    set_package_facts
}

# With the licenses of the libraries that are parts of the programs; those of the tests are not.
stage_files ()
{
    local license
    rm -rf "$stage"
    quietly cmake --install "$build_folder" --strip --prefix "$stage"
    for license in "$libraries"/licenses/*; do
        case ${license##*/} in
            catch2 | fftw3) ;;
            *) install -D --mode=644 "$license" "$stage/licenses/${license##*/}.txt" ;;
        esac
    done
    grep --invert-match --extended-regexp '^(catch2|fftw3) ' "$libraries/versions.txt" >"$stage/licenses/versions.txt"
    install --mode=644 /usr/share/doc/nsis/copyright "$stage/licenses/nsis.txt"
    find "$stage" -exec touch --no-dereference --date="@$SOURCE_DATE_EPOCH" {} +
}

check_programs ()
{
    local program library known
    for program in "$stage"/*.exe; do
        while IFS= read -r library; do
            known=${library,,}
            if [[ " ${system_libraries[*]} " != *" ${known%.dll} "* && $known != winspool.drv ]]; then
                say "${program##*/} needs $library, which does not come with Windows"
                exit 1
            fi
        done < <(x86_64-w64-mingw32-objdump --private-headers "$program" | sed -n 's/.*DLL Name: //p')
        if [[ $(x86_64-w64-mingw32-objdump --private-headers "$program") != *HIGH_ENTROPY_VA*DYNAMIC_BASE*NX_COMPAT* ]]; then
            say "${program##*/} lacks a protection"
            exit 1
        fi
        if grep --quiet --fixed-strings "$PWD" "$program"; then
            say "${program##*/} holds a path of this machine"
            exit 1
        fi
    done
    check_books "$stage/Resources"
}

make_installer ()
{
    installer=$packages/$name-setup.exe
    rsvg-convert --output="$build_folder/side.png" packaging/windows/installer-side.svg
    /usr/bin/python3 -c 'import sys; from PIL import Image; Image.open(sys.argv[1]).convert("RGB").save(sys.argv[2])' \
        "$build_folder/side.png" "$build_folder/side.bmp"
    packaging/windows/file-list.py "$stage" >"$build_folder/files.nsh"
    quietly makensis -NOCD -V2 -WX -DPRODUCT_FILE="$build_folder/product.nsh" -DFILES_FILE="$build_folder/files.nsh" \
        -DSIDE_PICTURE="$build_folder/side.bmp" \
        -DINSTALLED_KIB="$(du --summarize --apparent-size --block-size=KiB "$stage" | cut --delimiter=K --fields=1)" \
        -DOUTPUT="$installer" packaging/windows/installer.nsi
    check_kib "the installer" "$(($(stat --format=%s "$installer") / 1024))" "$maximum_installer_kib"
}

make_zip ()
{
    local tree=$build_folder/zip
    rm -rf "$tree"
    mkdir -p "$tree"
    cp --archive "$stage" "$tree/$name"
    (cd "$tree" && find "$name" -type f | LC_ALL=C sort >files &&
        TZ=UTC cmake -E tar c "$packages/$name.zip" --format=zip --files-from=files)
    rm -rf "$tree"
}

build
name=tessivar-$version-windows-x86_64
rm -f "$packages"/*
stage_files
check_programs
make_installer
make_zip
packaging/windows/check-installer.sh "$installer" "$stage"
list_packages
