#!/usr/bin/env bash
# Installs the packages that building and testing need; says nothing and changes nothing when all are there.
# Made for Debian 12. Needs root or sudo only when something is missing.
#   scripts/setup.sh packaging   also what ./run package draws icons and checks its work with
#   scripts/setup.sh long        also what ./test --long needs
#   scripts/setup.sh windows     also what builds for Windows, packages it and runs it in Wine
set -euo pipefail

packages=(
    build-essential
    catch2
    ccache
    clang-format-14
    cmake
    desktop-file-utils
    git
    groff-base
    juce-modules-source
    libasound2-dev
    libcli11-dev
    libebur128-dev
    libexpat1-dev
    libfftw3-dev
    libflac-dev
    libfreetype-dev
    libhwy-dev
    libjack-jackd2-dev
    libjpeg-dev
    libogg-dev
    libpng-dev
    libsndfile1-dev
    libvorbis-dev
    libx11-dev
    libxcursor-dev
    libxext-dev
    libxinerama-dev
    libxrandr-dev
    libxrender-dev
    libxtst-dev
    libzita-resampler-dev
    ninja-build
    nlohmann-json3-dev
    openbox
    parallel
    pkg-config
    python3
    python3-jsonschema
    shared-mime-info
    strace
    xvfb
    zlib1g-dev
)

packaging_packages=(
    appstream
    file
    librsvg2-bin
    lintian
)

# A queue of one node, a sound server, a browser and a judge of its pages, and the compiler that fuzzes.
long_packages=(
    chromium
    clang-14
    jackd2
    libclang-rt-14-dev
    munge
    python3-html5lib
    slurm-wlm
)

# The compiler for Windows, what runs its programs here, and what makes an installer of them.
windows_packages=(
    dpkg-dev
    g++-mingw-w64-x86-64-posix
    icoutils
    librsvg2-bin
    libz-mingw-w64-dev
    nsis
    python3-fonttools
    python3-pil
    wine
    wine64
)

# They set the manual; with what they depend on they take 300 MB.
manual_packages=(
    python3-markdown
    weasyprint
)

# Taken when there is room for it, never waited for: the benchmarks measure themselves against the first, and
# without the others the manual isn't made, which a package can't do without.
optional_packages=(
    libopenblas-dev
    "${manual_packages[@]}"
)

case ${1-} in
    packaging) packages+=("${packaging_packages[@]}" "${manual_packages[@]}") ;;
    long) packages+=("${long_packages[@]}") ;;
    windows) packages+=("${windows_packages[@]}" "${manual_packages[@]}") ;;
esac

die ()
{
    printf 'setup: %s\n' "$@" >&2
    exit 1
}

installed ()
{
    [[ $(dpkg-query --show --showformat='${db:Status-Status}' "$1" 2>/dev/null) == installed ]]
}

if ! command -v dpkg-query >/dev/null || ! command -v apt-get >/dev/null; then
    die "this system has no apt-get; the build is made for Debian 12." \
        "Install what these Debian packages hold, then build with: cmake --workflow --preset release" \
        "${packages[*]}"
fi

missing=()
for package in "${packages[@]}"; do
    installed "$package" || missing+=("$package")
done

if ((${#missing[@]} == 0)); then
    exit 0
fi

for package in "${optional_packages[@]}"; do
    installed "$package" || missing+=("$package")
done

as_root=()
if ((EUID != 0)); then
    if ! command -v sudo >/dev/null; then
        die "packages are missing, and installing them takes root, and there is no sudo here." \
            "As root: apt-get install ${missing[*]}"
    fi
    # Without a terminal sudo can't ask for a password: it must work without one, or say so at once.
    if [[ ! -t 0 ]] && ! sudo --non-interactive true 2>/dev/null; then
        die "packages are missing, and sudo wants a password that can't be asked for without a terminal." \
            "As root: apt-get install ${missing[*]}"
    fi
    as_root=(sudo)
fi

log=$(mktemp)
trap 'rm -f "$log"' EXIT

apt ()
{
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get --quiet --yes "$@" >>"$log" 2>&1 </dev/null
}

install_missing ()
{
    apt install --no-install-recommends "${missing[@]}"
}

printf 'Installing %s\n' "${missing[*]}" >&2

# Package lists that are absent or too old show themselves when the install fails; then they are fetched once.
if ! install_missing && ! { apt update && install_missing; }; then
    tail -n 20 "$log" >&2
    die "the packages could not be installed; apt-get's last lines stand above." \
        "Package list: ${missing[*]}"
fi
