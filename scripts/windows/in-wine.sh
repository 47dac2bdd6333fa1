#!/usr/bin/env bash
# in-wine.sh PROGRAM [ARG...]: runs a program for Windows in a Wine of the build folder's own, so that nobody's own
# is touched, and quietly. WINEPREFIX names another.
set -euo pipefail
root=$(dirname "$(readlink -f "$0")")/../..
export WINEPREFIX=${WINEPREFIX-$(readlink -f "$root")/build/wine}
export WINEDEBUG=${WINEDEBUG--all}
export WINEDLLOVERRIDES=${WINEDLLOVERRIDES-mscoree,mshtml,winemenubuilder.exe=}
mkdir -p "${WINEPREFIX%/*}"
exec wine "$@"
