#!/usr/bin/env bash
# The package and the programs agree on version, names, options, types and libraries.
source "$(dirname "$0")/support.sh"
packaging=$SOURCES/packaging
desktop=$packaging/desktop/org.tessivar.Tessivar.desktop
metainfo=$packaging/desktop/org.tessivar.Tessivar.metainfo.xml
mime=$packaging/desktop/tessivar.xml

desktop_value ()
{
    sed -n "s/^$1=//p" "$desktop"
}

check_version ()
{
    local version
    version=$("$PROGRAMS/tessivar" --version | cut -d ' ' -f 2)
    same "version of both programs" "$version" "$("$PROGRAMS/tessivar-cli" --version | cut -d ' ' -f 2)"
    same "newest release of the AppStream data" "$version" "$(sed -n 's/.*<release version="\([^"]*\)".*/\1/p' "$metainfo" | head -n 1)"
    same "newest entry of debian/changelog" "$version" "$(sed -n '1s/^tessivar (\(.*\)-[0-9]*) .*/\1/p' "$packaging/debian/changelog")"
    same "newest entry of CHANGELOG.md" "$version" "$(sed -n 's/^## \([0-9.]*\).*/\1/p' "$SOURCES/CHANGELOG.md" | head -n 1)"
}

# Options and variables, in the program's help, in the manual page and in the completion.
check_options ()
{
    local of_help of_page of_completion page
    page=$(sed 's/\\-/-/g' "$packaging/man/tessivar.1.in")
    of_help=$("$PROGRAMS/tessivar" --help | grep -oE '(^| )--[a-z]+' | tr -d ' ' | sort -u)
    of_page=$(grep -oE '(^\.B[R]? |"| )--[a-z]+' <<<"$page" | grep -oE -- '--[a-z]+' | sort -u)
    of_completion=$(grep -oE "compgen -W '[^']*'" "$packaging/completion/tessivar.bash" | grep -oE -- '--[a-z]+' | sort -u)
    same "options of help and manual page" "$of_help" "$of_page"
    same "options of help and completion" "$of_help" "$of_completion"

    for variable in $("$PROGRAMS/tessivar" --help | grep -oE 'TESSIVAR_[A-Z_]+' | sort -u); do
        [[ $page == *"$variable"* ]] || fail "$variable is not in the manual page"
    done

    for option in $of_help; do
        DISPLAY='' "$PROGRAMS/tessivar" "$option" >/dev/null || fail "tessivar $option fails without a screen"
    done
}

check_names ()
{
    local type
    type=$(sed -n 's/.*<mime-type type="\([^"]*\)".*/\1/p' "$mime")
    same "type of the desktop entry" "$type;" "$(desktop_value MimeType)"
    same "type of the AppStream data" "$type" "$(sed -n 's/.*<mediatype>\(.*\)<.*/\1/p' "$metainfo")"
    same "icon of the type" "${type/\//-}" "$(sed -n 's/^set(groupIcon \(.*\))/\1/p' "$SOURCES/cmake/Package.cmake")"
    same "desktop entry named in the AppStream data" "$(basename "$desktop")" \
        "$(sed -n 's/.*<launchable type="desktop-id">\(.*\)<.*/\1/p' "$metainfo")"
    [[ -x $PROGRAMS/$(desktop_value Exec | cut -d ' ' -f 1) ]] || fail "the desktop entry starts no program of ours"
    [[ -f $packaging/icons/$(desktop_value Icon).svg ]] || fail "there is no icon of the desktop entry's name"
    ! grep -q 'type="audio/dls"' "$mime" || fail "audio/dls is the type of other programs' files"
    for program in $(sed -n 's/.*<binary>\(.*\)<.*/\1/p' "$metainfo"); do
        [[ -x $PROGRAMS/$program ]] || fail "the AppStream data name a program that is not there: $program"
    done
}

# Width and height stand in a PNG at bytes 16 to 23.
check_screenshots ()
{
    local width height address file size
    while read -r width height address; do
        file=$packaging/screenshots/$(basename "$address")
        [[ -f $file ]] || { fail "screenshot $file is missing"; continue; }
        size=$(od --address-radix=n --endian=big --format=u4 --skip-bytes=16 --read-bytes=8 "$file" | xargs)
        same "size of $file" "$width $height" "$size"
    done < <(sed -n 's/.*<image .*width="\([0-9]*\)" height="\([0-9]*\)">\(.*\)<.*/\1 \2 \3/p' "$metainfo")
}

# Every library that the programs are linked with has its line in the notices.
check_notices ()
{
    have dpkg-query && have ldd || return 0
    local library path package patterns=()
    for library in $(objdump --private-headers "$PROGRAMS"/tessivar{,-cli} | awk '$1 == "NEEDED" { print $2 }' | sort -u); do
        path=$(ldd "$PROGRAMS/tessivar" "$PROGRAMS/tessivar-cli" | awk -v name="$library" '$1 == name { print $3; exit }')
        # By folder and name: /lib and /usr/lib are one folder, and the database knows only one of the two.
        patterns+=("*/$(basename "$(dirname "$path")")/$library")
    done

    for package in $(dpkg-query --search "${patterns[@]}" 2>/dev/null | cut -d : -f 1 | sort -u); do
        case $package in
            libc6 | libstdc++6 | libgcc-s1) ;;
            *) grep -q "\b$package\b" "$SOURCES/THIRD-PARTY-NOTICES.md" || fail "$package is not in THIRD-PARTY-NOTICES.md" ;;
        esac
    done
}

validate ()
{
    need desktop-file-validate update-mime-database groff
    desktop-file-validate "$desktop" || fail "desktop-file-validate"
    # Of the tools only this one takes much room; ./run package has it.
    if have appstreamcli; then
        appstreamcli validate --no-net "$metainfo" >"$work/appstream" || { cat "$work/appstream" >&2; fail "appstreamcli validate"; }
    else
        echo "appstreamcli is not installed: the AppStream data are not checked here, but by ./run package"
    fi
    mkdir -p "$work/share/mime/packages"
    cp "$mime" "$work/share/mime/packages"
    update-mime-database "$work/share/mime" >/dev/null 2>&1 || fail "update-mime-database"
    groff -man -ww -Tutf8 "$packaging/man/tessivar.1.in" "$TEXTS/tessivar-cli.1" 2>"$work/groff" >/dev/null
    [[ ! -s $work/groff ]] || { cat "$work/groff" >&2; fail "the manual pages have faults"; }
}

check_version
check_options
check_names
check_screenshots
check_notices
validate
finish
