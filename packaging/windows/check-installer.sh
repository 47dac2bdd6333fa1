#!/usr/bin/env bash
# Installs under Wine, in a Windows that has nothing else, uses what it installed, installs over it, removes
# it again; nothing but the user's own must be left. Needs no screen.
#   packaging/windows/check-installer.sh INSTALLER.exe FOLDER   FOLDER: what has to be installed, file by file
set -euo pipefail
installer=$(readlink -f "$1")
expected=$(readlink -f "$2")

work=$(mktemp --directory /tmp/tessivar-wine-XXXXXX)
in_wine=$(dirname "$(readlink -f "$0")")/../../scripts/windows/in-wine.sh
export HOME=$work/home WINEPREFIX=$work/prefix
unset DISPLAY
trap 'wineserver --kill 2>/dev/null || true; rm -rf "$work"' EXIT

# The user's folder, the default folder of the installer in it, and the same for Windows.
user=$WINEPREFIX/drive_c/users/$(id --user --name)
folder=$user/AppData/Local/Programs/Tessivar
windows_folder="C:\\users\\$(id --user --name)\\AppData\\Local\\Programs\\Tessivar"
start_menu="$user/AppData/Roaming/Microsoft/Windows/Start Menu/Programs/Tessivar.lnk"
uninstall_key='HKCU\Software\Microsoft\Windows\CurrentVersion\Uninstall\Tessivar'
ending_key='HKCU\Software\Classes\.dls'

die ()
{
    printf 'installer: %s\n' "$1" >&2
    exit 1
}

windows ()
{
    timeout 300 "$in_wine" "$@" 2>/dev/null
}

# exits_with CODE WHAT COMMAND...
exits_with ()
{
    local wanted=$1 what=$2 code=0
    shift 2
    windows "$@" >"$work/output" || code=$?
    ((code == wanted)) || die "$what: exit code $code instead of $wanted: $(cat "$work/output")"
}

# registry KEY [NAME]: a value, without a name that of the key itself
registry ()
{
    local name=(/ve)
    [[ -z ${2-} ]] || name=(/v "$2")
    windows reg query "$1" "${name[@]}" | tr --delete '\r' | sed -nE 's/^ .*[[:space:]]REG_(EXPAND_)?(SZ|DWORD)[[:space:]]+//p'
}

# What must be as it was when everything is over.
claims_of_others ()
{
    registry "$ending_key"
    windows reg query 'HKCU\Environment' /v Path
}

same_files ()
{
    diff --recursive --brief --exclude=uninstall.exe --exclude='Take.dls' "$expected" "$folder" ||
        die "$1: other files are there than should be"
}

mkdir -p "$HOME"
windows wineboot --init >/dev/null || die "Wine does not start"

# A PATH longer than the installer's own strings, and a program that had the ending before.
long=$(printf '%%SystemRoot%%'; printf ';C:\\Tools\\%040d' $(seq 40))
windows reg add 'HKCU\Environment' /v Path /t REG_EXPAND_SZ /d "$long" /f >/dev/null
windows reg add "$ending_key" /ve /d Other.Sounds /f >/dev/null
claims_of_others >"$work/claims"
(($(wc --bytes <"$work/claims") > 1800)) || die "the PATH to start with is not there"

# Files of somebody else in the folder: nothing is done.
mkdir -p "$user/Music"
echo mine >"$user/Music/LICENSE.txt"
exits_with 2 "a folder in use" "$installer" /S "/D=${windows_folder%%\\AppData*}\\Music"
[[ $(ls "$user/Music") == LICENSE.txt && $(cat "$user/Music/LICENSE.txt") == mine ]] || die "a folder in use was written to"

exits_with 0 "installing" "$installer" /S /PATH /DESKTOP
same_files "installed"
exits_with 0 "tessivar-cli selftest" "$folder/tessivar-cli.exe" selftest
[[ $(registry "$ending_key") == Tessivar.Group ]] || die "the ending belongs to another program"
[[ $(registry 'HKCU\Software\Classes\Tessivar.Group\shell\open\command') == "\"$windows_folder\\tessivar.exe\" \"%1\"" ]] ||
    die "a group file does not open in the program"
[[ $(registry 'HKCU\Environment' Path) == "$long;$windows_folder" ]] || die "PATH: $(registry 'HKCU\Environment' Path)"
[[ -s $start_menu && -s $user/Desktop/Tessivar.lnk ]] || die "a shortcut is missing"
for value in DisplayVersion Publisher EstimatedSize DisplayIcon UninstallString; do
    [[ -n $(registry "$uninstall_key" "$value") ]] || die "no $value for the list of programs"
done

# A running program is neither replaced nor ended. It runs in short turns until loaded, and is then held.
"$in_wine" "$folder/tessivar-cli.exe" selftest >/dev/null 2>&1 &
running=$!
for _ in $(seq 3000); do
    sleep 0.01
    kill -STOP "$running" || die "the program ended before it could be held"
    ! grep --quiet --ignore-case 'tessivar-cli\.exe' "/proc/$running/maps" || break
    kill -CONT "$running"
done
exits_with 3 "installing over a running program" "$installer" /S
kill -CONT "$running"
wait "$running" || die "the running program was ended"

# Again, over the old one, with what was chosen before, and a user's files in the folder.
echo mine >"$folder/Take.dls"
echo mine >"$folder/Resources/demo/Take.dls"
exits_with 0 "installing again" "$installer" /S
same_files "installed again"
[[ $(registry 'HKCU\Environment' Path) == "$long;$windows_folder" ]] || die "PATH after installing again"
[[ -s $user/Desktop/Tessivar.lnk ]] || die "the chosen shortcut went"

exits_with 0 "removing" "$folder/uninstall.exe" /S
for _ in $(seq 100); do
    [[ -e $folder/uninstall.exe || -n $(registry "$uninstall_key" DisplayName) ]] || break
    sleep 0.1
done
left=$(find "$folder" -type f -printf '%P\n' | LC_ALL=C sort | tr '\n' ' ')
[[ $left == 'Resources/demo/Take.dls Take.dls ' ]] || die "left in the folder: $left"
[[ ! -e $start_menu && ! -e $user/Desktop/Tessivar.lnk ]] || die "a shortcut is left"
claims_of_others | diff "$work/claims" - || die "the registry is not as it was"
windows reg export HKCU "Z:${work//\//\\}\\registry.txt" /y >/dev/null
! iconv --from-code=UTF-16 "$work/registry.txt" | grep --ignore-case tessivar || die "left in the registry"
