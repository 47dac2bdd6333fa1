#!/usr/bin/env bash
# Tries the package, or the build, in a Debian 12 root that has nothing but the base system. As root; needs
# debootstrap, and for the package Xvfb, openbox and xdotool, which stay outside: what the package does not
# ask for is not there.
#   packaging/check-in-bare-root.sh package FILE.deb     install it, start the window, open the demo
#                                                        session, analyze, export, the same on the command
#                                                        line, remove it, see what is left
#   packaging/check-in-bare-root.sh build [COMMAND...]   run a command in a clone of the last commit; default:
#                                                        ./run package
# In the environment:
#   FOLDER     where the root is made and pictures of the window are put (default: a new folder in /tmp,
#              removed at the end)
#   BASE       a root made by debootstrap before, which is copied instead of making one
#   CCACHE_DIR for "build": the compiler cache of this computer is used in the root
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")/.."

folder=${FOLDER-$(mktemp --directory /tmp/tessivar-root-XXXXXX)}
root=$folder/root
mounts=()
processes=()

say ()
{
    printf '%s  %s\n' "$(date +%T)" "$1"
}

die ()
{
    printf 'FAILED: %s\n' "$1" >&2
    exit 1
}

clean_up ()
{
    local i
    for ((i = ${#processes[@]} - 1; i >= 0; --i)); do
        kill "${processes[i]}" 2>/dev/null || true
    done
    sleep 1
    for ((i = ${#mounts[@]} - 1; i >= 0; --i)); do
        umount "${mounts[i]}" || umount --lazy "${mounts[i]}"
    done
    [[ -n ${FOLDER-} ]] || rm -rf --one-file-system "$folder"
}
trap clean_up EXIT

bind ()
{
    mkdir -p "$root$2"
    mount --bind "$1" "$root$2"
    mounts+=("$root$2")
}

in_root ()
{
    chroot "$root" /usr/bin/env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LANG=C.UTF-8 DEBIAN_FRONTEND=noninteractive "$@"
}

as_user ()
{
    chroot --userspec=engineer:engineer "$root" /usr/bin/env -i PATH=/usr/bin:/bin HOME=/home/engineer LANG=C.UTF-8 \
        DISPLAY=:"${display-0}" "$@"
}

# The host's own configuration of apt goes in, so that packages come from where this computer gets them.
make_root ()
{
    local mirror
    rm -rf --one-file-system "$root"
    mkdir -p "$folder"
    if [[ -n ${BASE-} ]]; then
        cp --archive "$BASE" "$root"
    else
        mirror=$(cat /etc/apt/sources.list /etc/apt/sources.list.d/*.{list,sources} 2>/dev/null |
            sed -nE 's/^(URIs: *|deb +(\[[^]]*\] +)?)(https?:[^ ]+).*/\3/p' | head -n 1)
        debootstrap --variant=minbase bookworm "$root" "${mirror:-http://deb.debian.org/debian}" >"$folder/debootstrap.log" ||
            { tail "$folder/debootstrap.log"; die "debootstrap"; }
    fi

    rm -rf "$root/etc/apt"
    cp --recursive --dereference /etc/apt "$root/etc/apt"
    mkdir -p "$root/etc/ssl" "$root/usr/share/keyrings"
    cp --recursive --dereference --no-clobber /etc/ssl/. "$root/etc/ssl/"
    cp --no-clobber /usr/share/keyrings/*.gpg "$root/usr/share/keyrings/"
    cp --dereference /etc/resolv.conf /etc/hosts "$root/etc/"
    mount -t proc proc "$root/proc"
    mounts+=("$root/proc")
    bind /dev /dev
    in_root apt-get --quiet --quiet update
    say "a bare root: $(in_root dpkg-query --show | wc -l) packages"
}

# What there is but for caches, logs, the package database and homes.
list_files ()
{
    find "$root" -xdev \( -path "$root/proc" -o -path "$root/dev" -o -path "$root/tmp" -o -path "$root/home" \
        -o -path "$root/var/cache" -o -path "$root/var/log" -o -path "$root/var/lib/apt" -o -path "$root/var/lib/dpkg" \) -prune \
        -o -printf '/%P\n' | sort
}

start_screen ()
{
    Xvfb -displayfd 3 -screen 0 1360x900x24 -nolisten tcp -ac 3>"$folder/display" 2>"$folder/xvfb.log" &
    processes+=($!)
    for _ in $(seq 50); do
        [[ ! -s $folder/display ]] || break
        sleep 0.1
    done
    display=$(cat "$folder/display")
    [[ -n $display ]] || die "Xvfb does not start"
    export DISPLAY=:$display
    openbox >/dev/null 2>&1 &
    processes+=($!)
    bind /tmp/.X11-unix /tmp/.X11-unix
}

picture ()
{
    ! command -v import >/dev/null || import -window root "$folder/$1.png"
}

# Waits until a window with this name is there, doing something every three seconds: wait_for_window NAME
# [COMMAND...]
wait_for_window ()
{
    local name=$1 found
    shift
    for _ in $(seq 60); do
        found=$(xdotool search --onlyvisible --name "$name" 2>/dev/null | tail -n 1) || true
        if [[ -n $found ]]; then
            echo "$found"
            return
        fi
        "$@"
        sleep 3
    done
    picture failed
    die "no window '$name'"
}

# A point counted from the right and lower edge of a window.
click_from_corner ()
{
    local WIDTH HEIGHT X Y WINDOW SCREEN
    eval "$(xdotool getwindowgeometry --shell "$1")"
    xdotool mousemove $((X + WIDTH - $2)) $((Y + HEIGHT - $3)) click 1
    sleep 1
}

export_in_window ()
{
    local window chooser out=/home/engineer/Exported
    as_user mkdir "$out" /home/engineer/Documents
    as_user tessivar /usr/lib/tessivar/Resources/demo >"$folder/window.log" 2>&1 &
    processes+=($!)
    window=$(wait_for_window '^Tessivar$' true)
    [[ -n $(xdotool search --onlyvisible --class '^Tessivar$') ]] || die "the window has another class than the desktop entry says"
    sleep 5
    picture opened
    xdotool windowactivate --sync "$window"

    # The tracks are short: OK, by key and by mouse. Then the quick tips.
    xdotool key Return
    sleep 1
    click_from_corner "$window" 450 250
    xdotool key ctrl+p
    sleep 3
    picture tips
    xdotool key Return

    # Exporting waits until the analysis is over.
    chooser=$(wait_for_window '^Choose a folder to export' xdotool key ctrl+x)
    picture chooser
    xdotool mousemove --window "$chooser" 300 437 click 1
    sleep 1
    xdotool key ctrl+a
    xdotool type --delay 40 "$out"
    xdotool key Return
    sleep 1
    click_from_corner "$chooser" 52 25

    for _ in $(seq 30); do
        (($(find "$root$out" -name '*_Processed.wav' | wc -l) < 5)) || break
        sleep 1
    done
    sleep 2
    picture exported
    say "the window exported: $(find "$root$out" -name '*.wav' -printf '%f, ')"
    (($(find "$root$out" -name '*.wav' | wc -l) == 7)) || die "the window did not export seven tracks"
    kill "${processes[-1]}"
    wait "${processes[-1]}" 2>/dev/null || true
    unset 'processes[-1]'
}

check_command_line ()
{
    as_user tessivar --version
    as_user tessivar-cli selftest | tail -n 1
    as_user tessivar-cli demo /home/engineer/Session | wc -l
    as_user tessivar-cli process /home/engineer/Session --out /home/engineer/Clean --type 'SD*=snare' \
        --type 'Rack*=tomHigh' --save /home/engineer/Take.dls --quiet || die "tessivar-cli process"
    as_user tessivar-cli export /home/engineer/Take.dls --out /home/engineer/Again --quiet || die "tessivar-cli export"
    say "the command line wrote $(find "$root/home/engineer/Again" -name '*.wav' | wc -l) tracks"
}

check_package ()
{
    local file=$1 left
    make_root
    in_root useradd --create-home engineer
    list_files >"$folder/before"
    cp "$file" "$root/tmp/tessivar.deb"
    in_root apt-get --quiet --yes --no-install-recommends install /tmp/tessivar.deb >"$folder/apt.log" 2>&1 ||
        { tail "$folder/apt.log"; die "apt-get install"; }
    say "installed: $(in_root dpkg-query --show --showformat='${Package} ${Version}, ${Installed-Size} KiB' tessivar) with $(grep -c '^Setting up' "$folder/apt.log") packages in all"

    check_command_line
    start_screen
    export_in_window

    in_root apt-get --quiet --yes --purge remove tessivar >>"$folder/apt.log" 2>&1 || die "apt-get remove"
    left=$(list_files | grep -i tessivar || true)
    [[ -z $left ]] || die "left behind by the package: $left"
    in_root apt-get --quiet --yes --purge autoremove >>"$folder/apt.log" 2>&1
    left=$(list_files | comm -13 "$folder/before" - | grep -v '^/tmp' || true)
    say "removed; left in the system by other packages that came with it: ${left:-nothing}"
    say "left in the user's folders: $(cd "$root/home/engineer" && find . -mindepth 1 -maxdepth 3 -type d -printf '%P ')"
}

check_build ()
{
    local here=$PWD
    make_root
    git clone --quiet --no-hardlinks "$here" "$root$here"
    if [[ -n ${CCACHE_DIR-} ]]; then
        bind "$CCACHE_DIR" /root/.cache/ccache
    fi
    say "running in the root: $*"
    in_root sh -c 'cd "$1" && shift && exec "$@"' - "$here" "$@"
}

((EUID == 0)) || die "only root can make a root"
case ${1-} in
    package)
        [[ -f ${2-} ]] || die "which package?"
        check_package "$2"
        ;;
    build)
        shift
        (($# > 0)) || set -- ./run package
        check_build "$@"
        ;;
    *)
        sed -n '2,/^set/s/^# \{0,1\}//p' "$0"
        exit 2
        ;;
esac
say "all well"
