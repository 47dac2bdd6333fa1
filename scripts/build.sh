# Read by ./run and ./test, from the root of the sources: installs what is missing, configures and builds the
# release preset. Says nothing when there is nothing to do or all goes well; on a terminal the build shows its
# line of progress.

build_preset=release
build_folder=build/$build_preset

build_targets ()
{
    bash scripts/setup.sh || exit 1

    local log=$build_folder/last-build.log
    mkdir -p "$build_folder"
    if ! cmake --preset "$build_preset" >"$log" 2>&1; then
        cat "$log" >&2
        exit 1
    fi

    # Asked first, because a build with nothing to do says so.
    ninja -C "$build_folder" -n "$@" 2>/dev/null | grep --quiet 'no work to do' && return

    # The build's own words belong to the diagnostics: what follows owns standard output.
    if [[ -t 2 ]]; then
        ninja -C "$build_folder" "$@" >&2 || exit 1
    elif ! ninja -C "$build_folder" "$@" >"$log" 2>&1; then
        cat "$log" >&2
        exit 1
    fi
}
