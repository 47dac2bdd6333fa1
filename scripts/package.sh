#!/usr/bin/env bash
# Makes the Debian package with its debug symbols, and a tarball of the same shape that starts from any
# folder, and checks them: hardening, lintian, desktop entry, AppStream data, size. Called by ./run package.
#   scripts/package.sh [BUILD-FOLDER]   the packages come into BUILD-FOLDER/packages; default build/package
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")/.."

build_folder=$(readlink --canonicalize-missing "${1-build/package}")
packages=$build_folder/packages
maximum_installed_kib=$((40 * 1024))
source scripts/steps.sh

bash scripts/setup.sh packaging

# With debug symbols, which go into a package of their own, and without a path of this machine in them. The
# two options of hardening are for what is given away, beyond those of cmake/CompilerOptions.cmake, which
# every build has.
build ()
{
    local flags="-g -ffile-prefix-map=$build_folder=build -ffile-prefix-map=$PWD=."
    flags+=" -fstack-clash-protection -fcf-protection"
    mkdir -p "$build_folder"
    quietly cmake -S . -B "$build_folder" -G Ninja -DCMAKE_BUILD_TYPE=Release -DTESSIVAR_PACKAGE=ON \
        -DTESSIVAR_BUILD_TESTS=OFF -DTESSIVAR_BUILD_BENCHMARKS=OFF \
        -DCMAKE_C_FLAGS="$flags" -DCMAKE_CXX_FLAGS="$flags"
    build_quietly
}

# The sources that became part of the programs, for Debian's Built-Using field.
built_using ()
{
    dpkg-query --show --showformat='${source:Package} (= ${source:Version})' juce-modules-source
}

# What a tree takes when it is installed, counted as Debian's own tools do it; CPack counts before it strips.
installed_kib ()
{
    find "$1" -mindepth 1 -path "$1/DEBIAN" -prune -o -printf '%y %s\n' |
        awk '{ kib += $1 == "f" ? int(($2 + 1023) / 1024) : 1 } END { print kib }'
}

# CPack's packages once more, with what CPack can't say: fields of the control file, documents and sums of the
# debug package, and the time of the changelog as the time of every file.
finish_package ()
{
    local raw=$1 result=$2 tree=$build_folder/package-tree level=6
    rm -rf "$tree"
    dpkg-deb --raw-extract "$raw" "$tree"

    if [[ $result == *-dbgsym_* ]]; then
        sed --in-place '/^Package-Type:/d' "$tree/DEBIAN/control"
        mkdir -p "$tree/usr/share/doc"
        ln -s tessivar "$tree/usr/share/doc/tessivar-dbgsym"
        level=1 # 160 MB of symbols, which few will fetch: not worth minutes of packing
    else
        sed --in-place "/^Architecture:/a Built-Using: $(built_using)" "$tree/DEBIAN/control"
    fi

    chmod --recursive go-w,a+rX "$tree"
    sed --in-place "s/^Installed-Size:.*/Installed-Size: $(installed_kib "$tree")/" "$tree/DEBIAN/control"
    # CPack's sums of the debug files name the folder where it made them.
    (cd "$tree" && find . -path ./DEBIAN -prune -o -type f -printf '%P\0' | sort --zero-terminated | xargs --null md5sum >DEBIAN/md5sums)
    rm -f "$result"
    quietly dpkg-deb --root-owner-group -Zxz -z"$level" --build "$tree" "$result"
    rm -rf "$tree" "$raw"
}

make_debian_packages ()
{
    local raw=$build_folder/packages-raw file
    rm -rf "$raw" "$packages"/*.deb
    mkdir -p "$raw" "$packages"
    quietly cpack --config "$build_folder/CPackConfig.cmake" -G DEB -B "$raw"

    for file in "$raw"/*.ddeb "$raw"/*.deb; do
        finish_package "$file" "$packages/$(basename "${file%.*}" | sed -E 's/^(tessivar)_(.*)-dbgsym$/\1-dbgsym_\2/').deb"
    done
    rm -rf "$raw"
}

make_tarball ()
{
    local name=tessivar-$version-linux-$(uname -m) stage=$build_folder/tarball
    rm -rf "$stage" "$packages"/*.tar.xz
    quietly cmake --install "$build_folder" --strip --prefix "$stage/$name"
    rm -r "$stage/$name/share/lintian"
    cp LICENSE THIRD-PARTY-NOTICES.md packaging/tarball/README "$stage/$name"
    tar --create --xz --file "$packages/$name.tar.xz" --directory "$stage" --sort=name --owner=0 --group=0 --numeric-owner \
        --mtime="@$SOURCE_DATE_EPOCH" "$name"
    rm -rf "$stage"
}

check_packages ()
{
    local tree=$build_folder/checked package
    package=$(ls "$packages"/tessivar_*.deb)
    rm -rf "$tree"
    dpkg-deb --extract "$package" "$tree"

    check_books "$tree/usr/lib/tessivar/Resources"
    bash scripts/check-hardening.sh "$tree"/usr/lib/tessivar/tessivar{,-cli}
    desktop-file-validate "$tree"/usr/share/applications/*.desktop
    quietly appstreamcli validate --no-net "$tree"/usr/share/metainfo/*.xml
    quietly appstreamcli validate-tree --no-net "$tree"
    cp -r "$tree/usr/share/mime" "$tree/mime"
    quietly update-mime-database "$tree/mime"
    quietly "$tree/usr/bin/tessivar-cli" selftest

    check_kib "the installed package" "$(dpkg-deb --field "$package" Installed-Size)" "$maximum_installed_kib"
    rm -rf "$tree"

    lintian --allow-root --fail-on error,warning "$packages"/*.deb
}

build
set_package_facts
make_debian_packages
make_tarball
check_packages

list_packages
