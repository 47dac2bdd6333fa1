#!/usr/bin/env bash
# Takes the pictures that the AppStream data show, of the real window with the demo session, into
# packaging/screenshots. Needs Xvfb, openbox, xdotool and imagemagick.
#   tools/pictures/take-screenshots.sh [FOLDER-OF-THE-PROGRAMS]   default build/release/bin
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")/../.."
programs=${1-build/release/bin}
result=packaging/screenshots

work=$(mktemp --directory)
processes=()

clean_up ()
{
    local i
    for ((i = ${#processes[@]} - 1; i >= 0; --i)); do
        kill "${processes[i]}" 2>/dev/null || true
    done
    rm -rf "$work"
}
trap clean_up EXIT

# A home of its own: no settings and no recent files of whoever takes the pictures.
export HOME=$work/home XDG_RUNTIME_DIR=$work/runtime TESSIVAR_SCALE=1
mkdir -p "$HOME" "$XDG_RUNTIME_DIR" "$result"
chmod 700 "$XDG_RUNTIME_DIR"

"$programs/tessivar-cli" analyze demo --save "$work/Demo Session.dls" --type 'SD*=snare' \
    --type 'Rack*=tomHigh' --quiet 2>/dev/null

Xvfb -displayfd 3 -screen 0 1360x900x24 -nolisten tcp 3>"$work/display" 2>/dev/null &
processes+=($!)
for _ in $(seq 50); do
    [[ ! -s $work/display ]] || break
    sleep 0.1
done
DISPLAY=:$(cat "$work/display")
export DISPLAY
openbox >/dev/null 2>&1 &
processes+=($!)
sleep 1
"$programs/tessivar" "$work/Demo Session.dls" >/dev/null 2>&1 &
processes+=($!)

for _ in $(seq 60); do
    window=$(xdotool search --onlyvisible --name '^Tessivar$' 2>/dev/null | tail -n 1) || true
    [[ -z $window ]] || break
    sleep 0.5
done
xdotool windowactivate --sync "$window"
sleep 4

picture ()
{
    sleep 2
    import -window "$window" -strip "$result/$1.png"
}

# The hi-hat, which hears most of the others: a few seconds of it.
xdotool key Down
xdotool key plus plus plus plus
picture window
xdotool key r
picture removed
