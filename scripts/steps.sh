# Read by the scripts that make packages; they set build_folder.

say ()
{
    printf '%s\n' "$1" >&2
}

# Runs a step with its words in a log, which is shown when it fails.
quietly ()
{
    local log=$build_folder/last-step.log
    if ! "$@" >"$log" 2>&1; then
        cat "$log" >&2
        exit 1
    fi
}

# Builds in the build folder, with a line of progress where somebody sees it.
build_quietly ()
{
    if [[ -t 2 ]]; then
        ninja -C "$build_folder" "$@" >&2
    else
        quietly ninja -C "$build_folder" "$@"
    fi
}

# check_books FOLDER: the Help menu opens what lies there.
check_books ()
{
    local book
    for book in tessivarManual tessivarQuickStartGuide; do
        if [[ ! -s $1/$book.pdf ]]; then
            say "$book.pdf is not in the package"
            exit 1
        fi
    done
}

# check_kib WHAT SIZE LIMIT
check_kib ()
{
    if (($2 > $3)); then
        say "$1 takes $2 KiB; at most $3 are wanted"
        exit 1
    fi
}

set_package_facts ()
{
    version=$(sed -n 's/^CMAKE_PROJECT_VERSION:[A-Z]*=//p' "$build_folder/CMakeCache.txt")
    SOURCE_DATE_EPOCH=$(dpkg-parsechangelog --file packaging/debian/changelog --show-field Timestamp)
    export SOURCE_DATE_EPOCH
}

list_packages ()
{
    local file
    for file in "$packages"/*; do
        printf '%8d KiB  %s\n' "$(($(stat --format=%s "$file") / 1024))" "$file"
    done
}
