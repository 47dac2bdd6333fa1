#!/usr/bin/env bash
# Runs the cases of a test program that need a window, on a screen of their own. Exits with 77 where there is none to be had.
#   tests/ui/on-a-screen.sh PROGRAM [ARG...]
set -euo pipefail

for tool in Xvfb openbox; do
    if ! command -v "$tool" >/dev/null; then
        echo "$tool is not installed: the cases that need a window are left out"
        exit 77
    fi
done

folder=$(mktemp -d)
trap 'kill $(jobs -p) 2>/dev/null || true; rm -rf "$folder"' EXIT

Xvfb -displayfd 3 -screen 0 1360x900x24 -nolisten tcp 3>"$folder/display" 2>/dev/null &

for ((i = 0; i < 300; ++i)); do
    [[ -s $folder/display ]] && break
    sleep 0.1
done

display=:$(<"$folder/display")
DISPLAY=$display openbox 2>/dev/null &
TESSIVAR_TEST_DISPLAY=$display "$@"
