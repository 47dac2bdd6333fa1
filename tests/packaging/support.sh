# Read by the scripts of this folder. SOURCES is the root of the sources, PROGRAMS the folder of the programs,
# TEXTS the folder of the generated texts.
set -euo pipefail

work=$(mktemp --directory "${TMPDIR-/tmp}/tessivar-packaging-XXXXXX")
processes=()
failures=0

clean_up ()
{
    local process
    for process in "${processes[@]}"; do
        kill "$process" 2>/dev/null || true
    done
    rm -rf "$work"
}
trap clean_up EXIT

# A home of its own, so that nothing of the user's is read or written.
export HOME=$work/home XDG_RUNTIME_DIR=$work/runtime
unset XDG_CONFIG_HOME XDG_STATE_HOME XDG_CACHE_HOME XDG_DATA_HOME
mkdir -p "$HOME" "$XDG_RUNTIME_DIR"
chmod 700 "$XDG_RUNTIME_DIR"

fail ()
{
    printf 'FAILED: %s\n' "$1" >&2
    failures=$((failures + 1))
}

skip ()
{
    printf 'skipped: %s\n' "$1"
    exit 77
}

have ()
{
    command -v "$1" >/dev/null
}

# need PROGRAM...: what scripts/setup.sh installs is no reason to skip a test.
need ()
{
    local program
    for program; do
        have "$program" || { fail "$program is not installed; scripts/setup.sh does it"; exit 1; }
    done
}

# Compares two texts.
same ()
{
    [[ $2 == "$3" ]] || fail "$1: '$2' and '$3'"
}

# wait_for SECONDS COMMAND...
wait_for ()
{
    local end=$((SECONDS + $1))
    shift
    until "$@"; do
        ((SECONDS < end)) || return 1
        sleep 0.1
    done
}

# check_documents FILE...: documents of --json, against the schema.
check_documents ()
{
    /usr/bin/python3 "$SOURCES/tests/cli/check_documents.py" "$@" >/dev/null || fail "documents do not fit the schema"
}

finish ()
{
    ((failures == 0)) || exit 1
    exit 0
}
