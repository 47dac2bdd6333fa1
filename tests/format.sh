#!/usr/bin/env bash
# The layout of the sources is what clang-format-14 makes of them, and comments, which it doesn't wrap, end by
# column 110. Names every line that isn't so; `clang-format-14 -i FILE` mends the first kind.
#   tests/format.sh [FOLDER-OR-FILE...]   default: all sources
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")/.."
failed=0

# The files below the arguments whose names match an expression of find.
sources ()
{
    find "${places[@]}" \( -path ./build -o -path './.?*' \) -prune -o -type f \( "$@" \) -print0
}

places=("${@:-.}")
mapfile -d '' code < <(sources -name '*.h' -o -name '*.cpp')
mapfile -d '' scripts < <(sources -name '*.sh' -o -name '*.py' -o -name '*.cmake' -o -name CMakeLists.txt)

# too_long FILE...: the lines beyond column 110.
too_long ()
{
    LC_ALL=C.UTF-8 grep --with-filename --line-number -E '^.{111}' "$@"
}

if ((${#code[@]})); then
    printf '%s\0' "${code[@]}" | xargs -0 clang-format-14 --dry-run -Werror || failed=1
    ! too_long "${code[@]}" || failed=1
fi

if ((${#scripts[@]})); then
    ! too_long "${scripts[@]}" | grep -E '^[^:]*:[0-9]+:[[:space:]]*#' || failed=1
fi

exit "$failed"
