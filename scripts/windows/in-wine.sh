#!/usr/bin/env bash
# in-wine.sh PROGRAM [ARG...]: runs a program for Windows, quietly, in a Wine folder of the build's own, so
# that the user's stays as it is. WINEPREFIX names another one. It is a Windows 10, which Wine's own folders
# aren't, and a program that crashes there ends, without a debugger whose window waits for an answer.
set -euo pipefail
root=$(dirname "$(readlink -f "$0")")/../..
export WINEPREFIX=${WINEPREFIX-$(readlink -f "$root")/build/wine}
export WINEDEBUG=${WINEDEBUG--all}
export WINEDLLOVERRIDES=${WINEDLLOVERRIDES-mscoree,mshtml,winemenubuilder.exe,winedbg.exe=}

if [[ ! -e $WINEPREFIX/is-windows-10 ]]; then
    mkdir -p "$WINEPREFIX"
    flock --close "$WINEPREFIX/lock" wine winecfg -v win10 >/dev/null 2>&1
    touch "$WINEPREFIX/is-windows-10"
fi
exec wine "$@"
