#!/usr/bin/env bash
# The programs open no network socket: every call that makes one is traced through analysis, sound devices and
# window.
source "$(dirname "$0")/support.sh"
need strace Xvfb
strace -o /dev/null true 2>/dev/null || skip "strace may not trace here (ptrace is forbidden)"

trace=(strace -f -qq --trace=socket,connect,bind)
network='socket\(AF_(INET6?|PACKET|NETLINK)'

# Fails when the trace shows the network. The window's own links, to the X server and to a second start, are
# local.
expect_no_network ()
{
    if grep -E "$network" "$2" >&2; then
        fail "$1 opens a network socket"
    fi
}

# What the trace would look like, from a program that is known to open one.
check_the_check ()
{
    "${trace[@]}" -o "$work/known" bash -c 'exec 3<>/dev/tcp/127.0.0.1/9' 2>/dev/null || true
    grep -qE "$network" "$work/known" || fail "the trace does not show a socket that was opened"
}

trace_command_line ()
{
    local name=$1
    shift
    "${trace[@]}" -o "$work/$name" "$PROGRAMS/tessivar-cli" "$@" >"$work/output" 2>&1 ||
        { cat "$work/output" >&2; fail "tessivar-cli $1 fails under the trace"; }
    expect_no_network "tessivar-cli $1" "$work/$name"
}

# The window is given a file, and time to look for devices and to draw.
trace_window ()
{
    local display waited
    Xvfb -displayfd 3 -screen 0 1280x800x24 -nolisten tcp 3>"$work/display" 2>/dev/null &
    processes+=($!)
    for ((waited = 0; waited < 100; ++waited)); do
        [[ ! -s $work/display ]] || break
        sleep 0.1
    done
    display=$(cat "$work/display")
    [[ -n $display ]] || { fail "Xvfb does not start"; return; }

    # -I1: a signal to strace ends it together with the program.
    DISPLAY=:$display strace -I1 "${trace[@]:1}" -o "$work/window" "$PROGRAMS/tessivar" "$work/take.dls" >/dev/null 2>&1 &
    processes+=($!)
    for ((waited = 0; waited < 300; ++waited)); do
        ! grep -q "bind(.*AF_UNIX.*tessivar" "$work/window" 2>/dev/null || break
        sleep 0.1
    done
    sleep 5
    grep -q "connect(.*X11-unix/X$display" "$work/window" || fail "the window did not come up under the trace"
    expect_no_network "the window" "$work/window"
    kill "${processes[-1]}" 2>/dev/null || true
}

check_the_check
trace_command_line analyze analyze "$SOURCES/demo/Kick In.flac" "$SOURCES/demo/HH.flac" --save "$work/take.dls" --quiet
trace_command_line export export "$work/take.dls" --out "$work/out" --quiet
# Without a sound device the command fails, which is none of this test's business.
"${trace[@]}" -o "$work/devices" "$PROGRAMS/tessivar-cli" devices >/dev/null 2>&1 || true
expect_no_network "tessivar-cli devices" "$work/devices"

trace_window
finish
