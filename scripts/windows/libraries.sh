#!/usr/bin/env bash
# Builds the static libraries for the Windows program from Debian's own source packages, into
# build/windows-libraries: include/, lib/, versions.txt and a folder of licences. What is built already in the
# version that Debian has stays. Debian's index is fetched anew once a day.
#   scripts/windows/libraries.sh [tests]   also what the test programs are linked with
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")/../.."

prefix=$PWD/build/windows-libraries
toolchain=$PWD/cmake/windows/toolchain.cmake
sources=$prefix/sources
built=$prefix/built
licenses=$prefix/licenses
log=$prefix/last-build.log

die ()
{
    printf 'libraries: %s\n' "$@" >&2
    exit 1
}

# Source package, and what its CMake is told beyond the usual; a space within an option follows a backslash.
# Each comes after those that it needs.
libraries=(
    "libogg"
    "flac -DBUILD_CXXLIBS=OFF -DBUILD_PROGRAMS=OFF -DBUILD_EXAMPLES=OFF -DBUILD_DOCS=OFF -DINSTALL_MANPAGES=OFF
          -DWITH_STACK_PROTECTOR=OFF -DWITH_FORTIFY_SOURCE=OFF"
    "libvorbis"
    "libsndfile -DBUILD_PROGRAMS=OFF -DBUILD_EXAMPLES=OFF -DENABLE_EXTERNAL_LIBS=OFF -DENABLE_MPEG=OFF"
    "libebur128"
    "zita-resampler"
    "libpng1.6 -DPNG_SHARED=OFF -DPNG_TESTS=OFF"
    "libjpeg-turbo -DENABLE_SHARED=OFF -DWITH_SIMD=OFF -DWITH_TURBOJPEG=OFF"
    # Its CMake defines XML_DTD without the value that its sources ask for.
    "expat -DEXPAT_SHARED_LIBS=OFF -DEXPAT_BUILD_TOOLS=OFF -DEXPAT_BUILD_EXAMPLES=OFF -DEXPAT_BUILD_TESTS=OFF
           -DEXPAT_DTD=OFF -DCMAKE_C_FLAGS_RELEASE=-O2\\ -DXML_DTD=1"
    "highway -DHWY_ENABLE_TESTS=OFF -DHWY_ENABLE_EXAMPLES=OFF -DHWY_ENABLE_CONTRIB=OFF"
)
test_libraries=(
    "fftw3 -DENABLE_FLOAT=ON -DBUILD_TESTS=OFF"
)

# Debian packages that are used as they are installed: headers alone, or built for Windows by Debian itself.
# The folders of their headers, and of their CMake files.
header_folders=(CLI nlohmann)
cmake_folders=(share/cmake/CLI11 share/cmake/nlohmann_json)
packages=(libcli11-dev nlohmann-json3-dev juce-modules-source libz-mingw-w64-dev mingw-w64-x86-64-dev
          gcc-mingw-w64-x86-64-posix)

case ${1-} in
    "") ;;
    tests)
        libraries+=("${test_libraries[@]}")
        header_folders+=(catch2)
        cmake_folders+=(lib/cmake/Catch2)
        packages+=(catch2)
        ;;
    *) die "unknown: $1" ;;
esac

# An index of sources of its own: the machine's own places for packages, asked for what they are built from,
# and checked by apt as it checks everything.
apt_options=(
    -o "Dir::Etc::sourcelist=$sources/index/sources.list"
    -o "Dir::Etc::sourceparts=-"
    -o "Dir::State::lists=$sources/index/lists"
    -o "Dir::Cache=$sources/index/cache"
)

fetch_index ()
{
    mkdir -p "$sources"/index/{lists,cache/archives}/partial
    apt-get indextargets --format 'deb-src $(REPO_URI) $(RELEASE) $(COMPONENT)' "Created-By: Packages" \
            "Origin: Debian" | sort -u >"$sources/index/sources.list"
    [[ -s $sources/index/sources.list ]] ||
        die "apt knows no package of Debian here; run apt-get update first"

    if apt-get "${apt_options[@]}" --quiet --error-on=any update >"$log" 2>&1; then
        touch "$sources/index/fetched"
    elif [[ ! -e $sources/index/fetched ]]; then
        tail -n 5 "$log" >&2
        die "Debian's index of sources could not be fetched"
    fi
}

is_index_new ()
{
    [[ -n $(find "$sources/index/fetched" -mmin -1440 2>/dev/null) ]]
}

# What a library was built from and how; a change of either builds it anew.
recipe_sum ()
{
    {
        grep --invert-match '^#' "$toolchain"
        printf '%s\n' "$@"
        declare -f build_library build_zita_resampler
    } | sha256sum | cut -c 1-16
}

# Newest first: an index may name a version that its mirror doesn't have yet, or no longer.
listed_versions ()
{
    apt-cache "${apt_options[@]}" showsrc --only-source "$1" | sed -n 's/^Version: //p' | sort --version-sort --reverse --unique
}

# fetch_source NAME VERSION FOLDER: false when it can't be had.
fetch_source ()
{
    local folder=$3 download=$sources/download/$1
    [[ ! -d $folder ]] || return 0

    mkdir -p "$download"
    (cd "$download" && apt-get "${apt_options[@]}" --quiet --only-source --download-only source "$1=$2") >"$log" 2>&1 || return 1
    dpkg-source --no-check --extract "$download/$1_${2#*:}.dsc" "$folder" >>"$log" 2>&1 || return 1
}

# build_library SOURCE OPTION...
build_library ()
{
    local source=$1 objects=$sources/objects
    shift
    [[ -e $source/CMakeLists.txt ]] || source=$source/expat

    rm -rf "$objects"
    cmake -S "$source" -B "$objects" -G Ninja -DCMAKE_TOOLCHAIN_FILE="$toolchain" -DCMAKE_BUILD_TYPE=Release \
          -DCMAKE_INSTALL_PREFIX="$prefix" -DCMAKE_INSTALL_LIBDIR:STRING=lib -DBUILD_SHARED_LIBS=OFF -DBUILD_TESTING=OFF "$@" &&
        cmake --build "$objects" &&
        cmake --install "$objects" &&
        rm -rf "$objects"
}

# Its Makefile knows no Windows, whose memory is always aligned to the 16 bytes that it asks for. The options
# are Debian's.
build_zita_resampler ()
{
    local source=$1/source objects=$sources/objects part
    rm -rf "$objects"
    mkdir -p "$objects" "$prefix"/{lib,include/zita-resampler}

    for part in resampler resampler-table; do
        x86_64-w64-mingw32-g++-posix -I"$source" -O2 -ffast-math -DENABLE_SSE2 -include stdlib.h \
            '-Dposix_memalign(place,alignment,size)=(*(place) = malloc (size))' \
            -c "$source/$part.cc" -o "$objects/$part.o" || return 1
    done

    rm -f "$prefix/lib/libzita-resampler.a"
    x86_64-w64-mingw32-ar rcs "$prefix/lib/libzita-resampler.a" "$objects"/*.o &&
        install -m 644 "$source"/zita-resampler/*.h "$prefix/include/zita-resampler" &&
        rm -rf "$objects"
}

# provide NAME OPTION...
provide ()
{
    local name=$1 version sum source build
    sum=$(recipe_sum "$@")
    shift

    for version in $(listed_versions "$name"); do
        [[ $(cat "$built/$name" 2>/dev/null) != "$version $sum" ]] || return 0
        source=$sources/${name}_${version#*:}
        fetch_source "$name" "$version" "$source" || continue

        printf 'Building %s %s for Windows\n' "$name" "$version" >&2
        build=build_library
        [[ $name != zita-resampler ]] || build=build_zita_resampler
        if ! "$build" "$source" "$@" >"$log" 2>&1; then
            tail -n 30 "$log" >&2
            die "$name $version could not be built"
        fi
        cp "$source/debian/copyright" "$licenses/$name"
        printf '%s %s\n' "$version" "$sum" >"$built/$name"
        return 0
    done

    cat "$log" >&2
    die "no source package of $name could be fetched"
}

# Those of the system's headers that hold no code of the system; the rest of /usr/include stays out of sight.
link_headers ()
{
    local folder
    mkdir -p "$prefix/include"

    for folder in "${header_folders[@]}"; do
        ln -sfn "/usr/include/$folder" "$prefix/include/$folder"
    done
    for folder in "${cmake_folders[@]}"; do
        mkdir -p "$prefix/${folder%/*}"
        cp -R "/usr/$folder" "$prefix/${folder%/*}"
    done
    # Which the toolkit reads, and Debian's package of libjpeg for Linux has too.
    install -m 644 "$sources"/libjpeg-turbo_*/jpegint.h "$prefix/include"
    rm -f "$prefix"/lib/cmake/Catch2/Catch2Targets-*.cmake # they name a library of Linux
}

write_record ()
{
    local name package
    {
        for name in "$built"/*; do
            printf '%s %s\n' "${name##*/}" "$(cut -d ' ' -f 1 "$name")"
        done
        for package in "${packages[@]}"; do
            cp "/usr/share/doc/$package/copyright" "$licenses/$package"
            printf '%s %s\n' "$package" "$(dpkg-query --show --showformat='${Version}' "$package")"
        done
    } >"$prefix/versions.txt"
}

mkdir -p "$sources" "$built" "$licenses"
is_index_new || fetch_index
for library in "${libraries[@]}"; do
    # shellcheck disable=SC2162
    read -d '' -a recipe <<<"$library" || true
    provide "${recipe[@]}"
done
link_headers
write_record
