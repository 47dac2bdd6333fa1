#!/usr/bin/env bash
# What bash offers behind "tessivar" on the command line.
source "$(dirname "$0")/support.sh"
source "$SOURCES/packaging/completion/tessivar.bash"

# The candidates for the last of the words, sorted, in one line.
offered ()
{
    COMP_WORDS=(tessivar "$@")
    COMP_CWORD=$#
    _tessivar
    printf '%s\n' "${COMPREPLY[@]}" | sort | paste -sd ' '
}

cd "$work"
mkdir kit "more kit"
touch take.dls SNARE.WAV kick.flac notes.txt

same "options" "--help --version" "$(offered --)"
same "one option" "--version" "$(offered --v)"
same "files, folders and groups, whatever the case" "SNARE.WAV home kick.flac kit more kit runtime take.dls" "$(offered '')"
same "behind a file" "take.dls" "$(offered kick.flac t)"
same "no option behind --" "" "$(offered -- --)"
finish
