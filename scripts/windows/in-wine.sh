#!/usr/bin/env bash
# in-wine.sh PROGRAM [ARG...]: runs a program for Windows, quietly, in a Wine folder of the build's own, so
# that the user's stays as it is. WINEPREFIX names another one.
set -euo pipefail
root=$(dirname "$(readlink -f "$0")")/../..
export WINEPREFIX=${WINEPREFIX-$(readlink -f "$root")/build/wine}
export WINEDEBUG=${WINEDEBUG--all}
export WINEDLLOVERRIDES=${WINEDLLOVERRIDES-mscoree,mshtml,winemenubuilder.exe=}
mkdir -p "${WINEPREFIX%/*}"
exec wine "$@"
