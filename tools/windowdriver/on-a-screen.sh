#!/usr/bin/env bash
# Runs a program on a screen of its own, named in TESSIVAR_TEST_DISPLAY. Exits with 77 where there can't be
# one.
#   tools/windowdriver/on-a-screen.sh PROGRAM [ARG...]
set -euo pipefail

for tool in Xvfb openbox; do
    if ! command -v "$tool" >/dev/null; then
        echo "$tool is not installed: the cases that need a window are left out"
        exit 77
    fi
done

folder=$(mktemp -d)
trap 'kill $(jobs -p) 2>/dev/null || true; rm -rf "$folder"' EXIT

wait_for()
{
    for ((i = 0; i < 600; ++i)); do
        [[ -s $1 ]] && return
        sleep 0.1
    done
    echo "$2 has not started within a minute"
    exit 1
}

Xvfb -displayfd 3 -screen 0 1360x900x24 -nolisten tcp 3>"$folder/display" 2>/dev/null &
wait_for "$folder/display" Xvfb
display=:$(<"$folder/display")

# A window that is there before the window manager gets the keyboard late, or never.
DISPLAY=$display openbox --startup "sh -c 'echo ready >$folder/managed'" >/dev/null 2>&1 &
wait_for "$folder/managed" openbox

TESSIVAR_TEST_DISPLAY=$display "$@"
