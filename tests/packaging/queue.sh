#!/usr/bin/env bash
# with-slurm on a real queue: a cluster of one node that this script makes for itself and ends again. It
# listens on loopback only, and its configuration, key and state lie in the test's folder. Takes some three
# minutes.
source "$(dirname "$0")/support.sh"
for program in munged slurmctld slurmd sbatch; do
    PATH=$PATH:/usr/sbin have "$program" || skip "$program is not installed (packages slurm-wlm and munge)"
done
((EUID == 0)) || skip "a queue of one's own takes root: sudo ./test --long"

PATH=$PATH:/usr/sbin
export TESSIVAR_CLI=$PROGRAMS/tessivar-cli SLURM_CONF=$work/slurm.conf THREADS=1
# A name that a queue would put numbers into.
out="$work/out 100 %j"
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

    # More of a node than the machine may have: what is asked for is tested, not what is there. Arrays are
    # short, so that a few sessions make several, and memory is looked at every second.
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
MaxArraySize=4
ProctrackType=proctrack/linuxproc
JobAcctGatherType=jobacct_gather/linux
JobAcctGatherFrequency=task=1
JobAcctGatherParams=OverMemoryKill
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

# state TASK: "COMPLETED 0:0"
state () { scontrol show job "$1" | sed -nE 's/.*JobState=([A-Z_]+).*/\1/p; s/.* ExitCode=([0-9:]+).*/\1/p' | paste -sd ' '; }
has_ended () { [[ ! $(state "$1") =~ ^(PENDING|CONFIGURING|RUNNING|COMPLETING) ]]; }

# expect_end TASK STATE
expect_end ()
{
    wait_for 60 has_ended "$1" || fail "task $1 does not end"
    same "end of task $1" "$2" "$(state "$1")"
}

# submit SESSION... [-- OPTION...]: the tasks
submit ()
{
    { "$SOURCES/packaging/batch/with-slurm" "$out" "$@" || true; } | sed -nE 's/^Submitted ([0-9]+) .* ([0-9]+)$/\1 \2/p' |
        while read -r count array; do printf "${array}_%d\n" $(seq 0 $((count - 1))); done
}

analyzes () { grep -Eqs '^Analy[sz]ing' "$out/$1.log"; }

# submit_long [OPTION...]: hands in the long session; sets task to its number, and process once the program is
# busy.
submit_long ()
{
    task=$(submit "$work/Long" -- --method refined "$@")
    wait_for 60 analyzes Long || fail "task $task does not run"
    process=$(scontrol listpids "$(scontrol show job "$task" | sed -nE 's/^JobId=([0-9]+).*/\1/p')" | awk 'NR == 2 { print $1 }')
}

expect_status ()
{
    grep -q "^  \"status\": \"$2\"" "$out/$1.json" || fail "the document of $1 does not say $2"
}

forget_long () { rm -rf "$out"/Long "$out"/Long.*; }

# No track that is whole or half, and no temporary data.
expect_nothing_left ()
{
    same "files of an interrupted session" "" "$(find "$out/Long" -type f 2>/dev/null)"
    same "temporary data of an interrupted session" "" "$(find "$HOME/.cache/tessivar/tmp" -mindepth 1 2>/dev/null)"
}

# No more of the batch at once than was asked for, in two arrays, as one would be too long; then the page over
# all.
check_arrays ()
{
    local names=("Köln \"live\" 1" "it's 100 %" "\$HOME & \`co\`; 2 > 1" $'two\nlines' '-n') name tasks most=0 running
    for name in "${names[@]}"; do
        mkdir -p "$work/in/$name"
        cp "$SOURCES/demo/Kick In.flac" "$SOURCES/demo/HH.flac" "$work/in/$name"
    done
    mkdir "$work/in/No session"
    tasks=$(cd "$work/in" && AT_ONCE=2 submit ./* 2>/dev/null)
    same "tasks handed in" "4 1" "$(cut -d _ -f 1 <<<"$tasks" | uniq -c | awk '{ print $1 }' | paste -sd ' ')"
    until no_jobs; do
        running=$(squeue --noheader --states=RUNNING --name=tessivar | wc -l)
        ((running <= most)) || most=$running
        sleep 0.05
    done
    same "most sessions at once" 2 "$most"
    for task in $tasks; do
        same "end of task $task" "COMPLETED 0:0" "$(state "$task")"
    done
    for name in "${names[@]}"; do
        expect_status "$name" done
        [[ -s "$out/$name/Kick In_Processed.wav" ]] || fail "$name was not written"
    done
    check_documents "$out"/*.json
    grep -q '6 sessions: 5 done, 1 refused' "$out/index.html" || fail "the page does not tell all sessions"

    # Nothing but what is missing is handed in again.
    rm "$out/-n.json"
    tasks=$(submit "$work/in"/* 2>/dev/null)
    same "tasks handed in again" 1 "$(wc -w <<<"$tasks")"
    expect_end "$tasks" "COMPLETED 0:0"
    expect_status -n done
}

# The node's own disk takes the temporary data, and the program is ended when it takes more memory than it
# may.
check_memory_limit ()
{
    mkdir "$work/node's disk"
    cat >"$work/sbatch-little" <<'SUBMIT'
#!/usr/bin/env bash
for argument; do
    shift
    [[ $argument != --mem=* ]] || argument=--mem=20M
    set -- "$@" "$argument"
done
exec sbatch "$@"
SUBMIT
    chmod +x "$work/sbatch-little"
    SBATCH=$work/sbatch-little submit_long --temp "$work/node's disk"
    wait_for 60 has_ended "$task" || fail "task $task is not ended for its memory"
    [[ $(state "$task") =~ ^(OUT_OF_MEMORY|FAILED 0:9) ]] || fail "want of memory ends task $task with $(state "$task")"
    same "files of a session whose memory ran out" "" "$(find "$out/Long" -type f 2>/dev/null)"
    same "temporary data elsewhere" "" "$(find "$HOME/.cache/tessivar/tmp" -mindepth 1 2>/dev/null)"
    [[ -n $(find "$work/node's disk" -type f) ]] || fail "the killed run had no data on the node's disk"

    # The next run on that node clears up.
    submit_long --temp "$work/node's disk"
    expect_end "$task" "COMPLETED 0:0"
    same "temporary data on the node's disk" "" "$(find "$work/node's disk" -type f)"
}

# The program is held until the queue's signal, which must come well before its time is over.
check_time_limit ()
{
    local begun=$SECONDS SBATCH_TIMELIMIT=2
    export SBATCH_TIMELIMIT
    submit_long
    kill -STOP "$process"
    wait_for 170 has_ended "$task" || fail "task $task is not ended by its time"
    ((SECONDS - begun < 110)) || fail "the signal came only with the end of the time, after $((SECONDS - begun)) s"
    expect_end "$task" "FAILED 130:0"
    expect_status Long interrupted
    expect_nothing_left
}

check_cancelled ()
{
    submit_long
    scancel "$task"
    expect_end "$task" "CANCELLED 130:0"
    expect_status Long interrupted
    expect_nothing_left
}

# A kill leaves no track; the same job once more does the whole session, and a third time nothing.
check_killed ()
{
    submit_long
    kill -KILL "$process"
    expect_end "$task" "FAILED 0:9"
    same "files of a killed session" "" "$(find "$out/Long" -type f 2>/dev/null)"

    rm "$out/Long.log"
    scontrol requeue "$task"
    # By itself the queue waits for two minutes.
    scontrol update JobId="$task" StartTime=now
    wait_for 150 analyzes Long || fail "task $task is not repeated"
    expect_end "$task" "COMPLETED 0:0"
    expect_status Long done
    same "tracks of the repeated session" 14 "$(find "$out/Long" -name '*.wav' | wc -l)"

    local before
    before=$(stat --format=%y "$out/Long.json")
    same "tasks for a session that is done already" "" "$(submit "$work/Long")"
    scontrol requeue "$task"
    scontrol update JobId="$task" StartTime=now
    expect_end "$task" "COMPLETED 0:0"
    same "a session that is done already" "$before" "$(stat --format=%y "$out/Long.json")"
}

mkdir "$work/Long"
for track in "$SOURCES"/demo/*.flac; do
    cp "$track" "$work/Long"
    cp "$track" "$work/Long/$(basename "$track" .flac) again.flac"
done

cd "$work"
start_queue
check_arrays
check_memory_limit
forget_long
check_time_limit
forget_long
check_cancelled
forget_long
check_killed
finish
