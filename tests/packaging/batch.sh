#!/usr/bin/env bash
# The example scripts of docs/batch.md: eight sessions and a folder that isn't one, by GNU parallel and a
# queue.
source "$(dirname "$0")/support.sh"
batch=$SOURCES/packaging/batch
export TESSIVAR_CLI=$PROGRAMS/tessivar-cli

for number in 1 2 3 4 5 6 7 8; do
    mkdir -p "$work/in/Take $number"
    cp "$SOURCES/demo/Kick In.flac" "$SOURCES/demo/HH.flac" "$work/in/Take $number"
done
mkdir "$work/in/No session"

# Stands in for a cluster: keeps what was asked for, and runs the job.
cat >"$work/queue" <<'QUEUE'
#!/usr/bin/env bash
printf '%s\n' "$*" >>"$(dirname "$0")/requests"
while [[ $1 == --* ]]; do shift; done
exec "$@"
QUEUE
chmod +x "$work/queue"

# check_done FOLDER NUMBER...
check_done ()
{
    local folder=$1 number
    shift
    for number in "$@"; do
        [[ -s "$folder/Take $number/Kick In_Processed.wav" ]] || fail "$folder: Take $number was not written"
        grep -q '"status": "done"' "$folder/Take $number.json" || fail "$folder: the document of Take $number is not there"
    done
    [[ ! -e "$folder/No session" ]] || fail "$folder: a folder was made for what is no session"
}

check_queue ()
{
    local code=0
    THREADS=2 SBATCH=$work/queue "$batch/with-slurm" "$work/queued" "$work"/in/{"Take 1","No session","Take 2"} 2>/dev/null || code=$?
    same "exit code of with-slurm with one session refused" 1 "$code"
    same "submitted jobs" 2 "$(grep -c -- '--cpus-per-task=2' "$work/requests")"
    # At least what the leanest run takes, and no more than the intended machine has.
    while read -r memory; do
        ((memory > 64 && memory < 1024)) || fail "a request for $memory MiB of memory"
    done < <(grep -oE -- '--mem=[0-9]+M' "$work/requests" | tr -dc '0-9\n')
    check_done "$work/queued" 1 2
}

check_parallel ()
{
    local code=0 before
    "$batch/with-parallel" "$work/out" "$work"/in/* >"$work/said" || code=$?
    same "exit code of with-parallel with one session refused" 1 "$code"
    grep -q 'No session' "$work/out/refused.txt" || fail "refused.txt does not name what was refused"
    same "jobs that ended well" 8 "$(awk -F '\t' 'NR > 1 && $7 == 0' "$work/out/jobs.tsv" | wc -l)"
    check_done "$work/out" 1 2 3 4 5 6 7 8

    # Started again it does only what is missing.
    before=$(stat --format=%Y.%s "$work/out/Take 1.json")
    rm "$work/out/Take 2.json"
    "$batch/with-parallel" "$work/out" "$work"/in/* >/dev/null 2>&1 || true
    same "a session that is done already" "$before" "$(stat --format=%Y.%s "$work/out/Take 1.json")"
    grep -q '"status": "done"' "$work/out/Take 2.json" || fail "a session that was missing was not made up for"

    # What fails is told by its exit code: the output folder can't be made.
    code=0
    touch "$work/file"
    "$batch/with-parallel" "$work/bad" "$work/in/Take 1" -- --temp "$work/file" >/dev/null 2>&1 || code=$?
    same "exit code of with-parallel with a session that fails" 1 "$code"
}

need parallel
check_queue
check_parallel
finish
