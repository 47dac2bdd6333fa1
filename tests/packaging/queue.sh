#!/usr/bin/env bash
# with-slurm on a real queue: a cluster of one node that this script makes for itself and ends again. It
# listens on loopback only, and its configuration, key and state lie in the test's folder. Takes some two
# minutes.
source "$(dirname "$0")/support.sh"
for program in munged slurmctld slurmd sbatch; do
    PATH=$PATH:/usr/sbin have "$program" || skip "$program is not installed (packages slurm-wlm and munge)"
done
((EUID == 0)) || skip "a queue of one's own takes root: sudo ./test --long"

PATH=$PATH:/usr/sbin
export TESSIVAR_CLI=$PROGRAMS/tessivar-cli SLURM_CONF=$work/slurm.conf THREADS=1
out=$work/out
daemons=()

end_queue ()
{
    ((${#daemons[@]} == 0)) || { scancel --state=RUNNING,PENDING --user=root; wait_for 15 no_jobs; } 2>/dev/null || true
    for process in "${daemons[@]}"; do
        kill "$process" 2>/dev/null || true
    done
    # What still writes its state would keep the folder from going.
    wait
    clean_up
}
trap end_queue EXIT

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

free_port ()
{
    local port
    while port=$((20000 + RANDOM)) && (exec 3<>"/dev/tcp/127.0.0.1/$port") 2>/dev/null; do :; done
    echo "$port"
}

# start NAME COMMAND...
start ()
{
    local name=$1
    shift
    "$@" >"$work/$name.output" 2>&1 &
    daemons+=($!)
}

start_queue ()
{
    local host
    host=$(uname -n)
    host=${host%%.*}
    mkdir "$work/state" "$work/spool"
    head -c 1024 /dev/urandom >"$work/munge.key"
    chmod 600 "$work/munge.key"

    # More of a node than the machine may have: what is asked for is tested, not what is there.
    cat >"$SLURM_CONF" <<CONF
ClusterName=tessivar
SlurmctldHost=$host(127.0.0.1)
SlurmctldPort=$(free_port)
SlurmdPort=$(free_port)
CommunicationParameters=NoCtldInAddrAny,NoInAddrAny
SlurmUser=root
AuthInfo=socket=$work/munge.socket
StateSaveLocation=$work/state
SlurmdSpoolDir=$work/spool
SlurmctldPidFile=$work/slurmctld.pid
SlurmdPidFile=$work/slurmd.pid
SlurmdParameters=config_overrides
ProctrackType=proctrack/linuxproc
TaskPlugin=task/none
SelectType=select/cons_tres
SelectTypeParameters=CR_Core_Memory
NodeName=one NodeHostname=$host NodeAddr=127.0.0.1 CPUs=4 RealMemory=8000 TmpDisk=100000
PartitionName=only Nodes=one Default=YES State=UP MaxTime=10
CONF

    start munged munged --foreground --force --key-file="$work/munge.key" --socket="$work/munge.socket" \
        --pid-file="$work/munge.pid" --log-file="$work/munge.log" --seed-file="$work/munge.seed"
    wait_for 10 test -S "$work/munge.socket" || give_up munged
    start slurmctld slurmctld -D
    start slurmd slurmd -D -N one
    wait_for 30 node_is_idle || give_up slurmctld slurmd

    ! awk 'NR > 1 && $4 == "0A" { print $2 }' /proc/net/tcp | grep -E "$(printf '^00000000:(%04X|%04X)$' \
        "$(setting SlurmctldPort)" "$(setting SlurmdPort)")" || fail "the queue listens to the network"
}

give_up ()
{
    tail -n 20 "${@/#/$work/}"*.output >&2
    fail "the queue does not start"
    exit 1
}

setting () { sed -n "s/^$1=//p" "$SLURM_CONF"; }
node_is_idle () { sinfo --noheader --format=%t 2>/dev/null | grep -qx idle; }
no_jobs () { [[ -z $(squeue --noheader 2>/dev/null) ]]; }

# state JOB: "COMPLETED 0:0"
state () { scontrol show job "$1" | sed -nE 's/.*JobState=([A-Z]+).*/\1/p; s/.* ExitCode=([0-9:]+).*/\1/p' | paste -sd ' '; }
has_ended () { [[ ! $(state "$1") =~ ^(PENDING|CONFIGURING|RUNNING|COMPLETING) ]]; }

# expect_end JOB STATE
expect_end ()
{
    wait_for 60 has_ended "$1" || fail "job $1 does not end"
    same "end of job $1" "$2" "$(state "$1")"
}

# submit SESSION...: the numbers of the jobs
submit () { "$SOURCES/packaging/batch/with-slurm" "$out" "$@" -- --method refined | sed 's/^Submitted batch job //'; }

analyzes () { grep -Eqs '^Analy[sz]ing' "$out/$1.log"; }

# submit_long: hands in the long session; sets job to its number, and process once the program is busy.
submit_long ()
{
    job=$(submit "$work/Long")
    wait_for 60 analyzes Long || fail "job $job does not run"
    process=$(scontrol listpids "$job" | awk 'NR == 2 { print $1 }')
}

expect_status ()
{
    grep -q "^  \"status\": \"$2\"" "$out/$1.json" || fail "the document of $1 does not say $2"
}

# No track that is whole or half, and no temporary data.
expect_nothing_left ()
{
    same "files of an interrupted session" "" "$(find "$out/Long" -type f 2>/dev/null)"
    same "temporary data of an interrupted session" "" "$(find "$HOME/.cache/tessivar/tmp" -mindepth 1 2>/dev/null)"
}

check_names ()
{
    local names=("Köln \"live\" 1" "it's 100 %" "\$HOME & \`co\`; 2 > 1") name jobs
    for name in "${names[@]}"; do
        mkdir -p "$work/in/$name"
        cp "$SOURCES/demo/Kick In.flac" "$SOURCES/demo/HH.flac" "$work/in/$name"
    done
    jobs=$(submit "${names[@]/#/$work/in/}")
    same "jobs handed in" "${#names[@]}" "$(wc -w <<<"$jobs")"
    for job in $jobs; do
        expect_end "$job" "COMPLETED 0:0"
    done
    for name in "${names[@]}"; do
        expect_status "$name" done
        [[ -s "$out/$name/Kick In_Processed.wav" ]] || fail "$name was not written"
    done
}

# The program is held until the queue's signal, which must come well before its time is over.
check_time_limit ()
{
    local begun=$SECONDS SBATCH_TIMELIMIT=2
    export SBATCH_TIMELIMIT
    submit_long
    kill -STOP "$process"
    wait_for 170 has_ended "$job" || fail "job $job is not ended by its time"
    ((SECONDS - begun < 110)) || fail "the signal came only with the end of the time, after $((SECONDS - begun)) s"
    expect_end "$job" "FAILED 130:0"
    expect_status Long interrupted
    expect_nothing_left
}

check_cancelled ()
{
    submit_long
    scancel "$job"
    expect_end "$job" "CANCELLED 130:0"
    expect_status Long interrupted
    expect_nothing_left
}

# A kill leaves no track; the same job once more does the whole session, and a third time nothing.
check_killed ()
{
    submit_long
    kill -KILL "$process"
    expect_end "$job" "FAILED 0:9"
    same "files of a killed session" "" "$(find "$out/Long" -type f 2>/dev/null)"

    rm "$out/Long.log"
    scontrol requeue "$job"
    # By itself the queue waits for two minutes.
    scontrol update JobId="$job" StartTime=now
    wait_for 150 analyzes Long || fail "job $job is not repeated"
    expect_end "$job" "COMPLETED 0:0"
    expect_status Long done
    same "tracks of the repeated session" 14 "$(find "$out/Long" -name '*.wav' | wc -l)"

    local before
    before=$(stat --format=%y "$out/Long.json")
    expect_end "$(submit "$work/Long")" "COMPLETED 0:0"
    same "a session that is done already" "$before" "$(stat --format=%y "$out/Long.json")"
}

mkdir "$work/Long"
for track in "$SOURCES"/demo/*.flac; do
    cp "$track" "$work/Long"
    cp "$track" "$work/Long/$(basename "$track" .flac) again.flac"
done

cd "$work"
start_queue
check_names
check_time_limit
rm -f "$out"/Long.*
check_cancelled
rm -f "$out"/Long.*
check_killed
finish
