#!/usr/bin/env bash
# The example scripts of docs/batch.md: sessions and a folder that isn't one, by GNU parallel and a queue.
# What is killed, stopped or done already is told apart, and nothing is left half.
source "$(dirname "$0")/support.sh"
batch=$SOURCES/packaging/batch
export TESSIVAR_CLI=$PROGRAMS/tessivar-cli

names=('Take 1' 'Köln "live"' "it's 100 %" $'two\nlines' '-n' '<b>&amp;<b> #1?' "\$HOME & \`co\`; 2 > 1" 'a:b')
for name in "${names[@]}"; do
    mkdir -p "$work/in/$name"
    cp "$SOURCES/demo/Kick In.flac" "$SOURCES/demo/HH.flac" "$work/in/$name"
done
mkdir "$work/in/No session"

# Stands in for a cluster: keeps what was asked for, and runs the tasks of an array in turn.
cat >"$work/queue" <<'QUEUE'
#!/usr/bin/env bash
printf '%s\n' "$*" >>"$(dirname "$0")/requests"
last=0
while [[ $1 == --* ]]; do
    [[ $1 != --array=* ]] || { last=${1##*-}; last=${last%\%*}; }
    shift
done
for ((SLURM_ARRAY_TASK_ID = 0; SLURM_ARRAY_TASK_ID <= last; ++SLURM_ARRAY_TASK_ID)); do
    export SLURM_ARRAY_TASK_ID
    "$@" >&2
done
echo 7
QUEUE
chmod +x "$work/queue"

# check_done FOLDER NAME...
check_done ()
{
    local folder=$1 name
    shift
    for name in "$@"; do
        [[ -s "$folder/$name/Kick In_Processed.wav" ]] || fail "$folder: $name was not written"
        grep -q '"status": "done"' "$folder/$name.json" || fail "$folder: the document of $name is not there"
    done
    check_documents "$folder"/*.json
    same "state of what is no session" '  "status": "refused",' "$(grep '"status"' "$folder/No session.json")"
    [[ ! -e "$folder/No session" ]] || fail "$folder: a folder was made for what is no session"
    check_page "$folder" "$(($# + 1))"
}

# check_page FOLDER ROWS: every session has its row, and every link of the page leads somewhere.
check_page ()
{
    python3 - "$1" "$2" <<'PYTHON' || fail "the page over $1"
import html.parser, pathlib, sys, urllib.parse
folder, rows, links = pathlib.Path(sys.argv[1]), int(sys.argv[2]), []
class Page(html.parser.HTMLParser):
    def handle_starttag(self, tag, attributes):
        links.extend(value for name, value in attributes if tag == "a" and name == "href")
        Page.rows = getattr(Page, "rows", 0) + (tag == "tr")
Page().feed((folder / "index.html").read_text(encoding="utf-8"))
for link in links:
    address = urllib.parse.urlsplit(link)
    assert not address.scheme and not address.query and not address.fragment, link
    assert (folder / urllib.parse.unquote(address.path)).exists(), link
assert Page.rows == rows + 1 and len(links) > rows, (Page.rows, len(links))
PYTHON
}

check_queue ()
{
    local code=0
    THREADS=2 AT_ONCE=3 SBATCH=$work/queue "$batch/with-slurm" "$work/queued" "$work"/in/* \
        >"$work/said" 2>/dev/null || code=$?
    same "exit code of with-slurm with one session refused" 1 "$code"
    same "arrays" 1 "$(grep -c -- '--cpus-per-task=2.*--array=0-7%3' "$work/requests")"
    # At least what the leanest run takes, and no more than the intended machine has.
    while read -r memory; do
        ((memory > 64 && memory < 1024)) || fail "a request for $memory MiB of memory"
    done < <(grep -oE -- '--mem=[0-9]+M' "$work/requests" | tr -dc '0-9\n')
    check_done "$work/queued" "${names[@]}"
}

check_parallel ()
{
    local code=0 before
    (cd "$work/in" && "$batch/with-parallel" ../out -- * >"$work/said" 2>&1) || code=$?
    same "usage without sessions" 2 "$code"
    code=0
    (cd "$work/in" && "$batch/with-parallel" ../out ./* >"$work/said" 2>&1) || code=$?
    same "exit code of with-parallel with one session refused" 1 "$code"
    same "jobs that ended well" "${#names[@]}" "$(awk -F '\t' 'NR > 1 && $7 == 0' "$work/out/jobs.tsv" | wc -l)"
    check_done "$work/out" "${names[@]}"

    # Started again it does only what is missing.
    before=$(stat --format=%Y.%s "$work/out/Take 1.json")
    rm "$work/out/-n.json"
    "$batch/with-parallel" "$work/out" "$work"/in/* >/dev/null 2>&1 || true
    same "a session that is done already" "$before" "$(stat --format=%Y.%s "$work/out/Take 1.json")"
    same "sessions begun again" 2 "$(wc -l <"$work/out/jobs.tsv")"
    check_done "$work/out" "${names[@]}"

    # What fails is told by its exit code: the output folder can't be made.
    code=0
    touch "$work/file"
    "$batch/with-parallel" "$work/bad" "$work/in/Take 1" -- --temp "$work/file" >/dev/null 2>&1 || code=$?
    same "exit code of with-parallel with a session that fails" 1 "$code"

    # What was asked for wrongly is wrong for all.
    code=0
    "$batch/with-parallel" "$work/wrong" "$work"/in/* -- --focus 9 >/dev/null 2>&1 || code=$?
    same "exit code of with-parallel with a wrong option" 2 "$code"
}

# The demo session takes a while. One worker is killed, then the whole batch is stopped.
check_stopped ()
{
    local code=0 worker process
    for name in killed stopped waiting; do cp -r "$SOURCES/demo" "$work/long $name"; done
    AT_ONCE=1 "$batch/with-parallel" "$work/ended" "$work"/long\ * >/dev/null 2>&1 &
    process=$!
    wait_for 60 is_busy 'long killed' || fail "with-parallel begins nothing"
    worker=$(worker_of 'long killed')
    kill -KILL "$worker"
    wait_for 60 is_busy 'long stopped' || fail "with-parallel does not go on after a kill"
    # Held, so that it is there for all of the following.
    worker=$(worker_of 'long stopped')
    kill -STOP "$worker"
    "$batch/make-index" "$work/ended" >/dev/null
    grep -q 'class="state killed"' "$work/ended/index.html" || fail "the page does not tell what was killed"
    grep -q 'This batch is still running: 2 sessions' "$work/ended/index.html" || fail "the page does not say that it runs"
    "$batch/one-group" "$work/ended" "$work/long stopped" 2>/dev/null && fail "a session is processed twice at once"
    kill -TERM "$process"
    sleep 1
    kill -CONT "$worker"
    wait "$process" || code=$?
    same "exit code of a batch that was stopped" 130 "$code"
    grep -q '"status": "interrupted"' "$work/ended/long stopped.json" || fail "what ran was not stopped"
    [[ ! -s "$work/ended/long waiting.json" ]] || fail "a session was begun after the stop"
    same "files of killed and stopped sessions" "" "$(find "$work/ended" -name '*.wav')"
    same "what still runs" "" "$(worker_of 'long')"
    grep -q 'class="state waiting"' "$work/ended/index.html" || fail "the page does not tell what waits"

    # What is left of the killed one goes with the next run.
    code=0
    "$batch/with-parallel" "$work/ended" "$work"/long\ * >/dev/null 2>&1 || code=$?
    same "exit code after a stop, begun again" 0 "$code"
    same "files of sessions that were begun again" 21 "$(find "$work/ended" -name '*.wav' | wc -l)"
    same "temporary data" "" "$(find "$HOME/.cache/tessivar/tmp" -mindepth 1 2>/dev/null)"
}

is_busy () { grep -Eqs '^Analy[sz]ing' "$work/ended/$1.log"; }

# The program that is at a session of check_stopped.
worker_of ()
{
    local folder
    for folder in /proc/[0-9]*; do
        [[ $(readlink "$folder/exe" 2>/dev/null) == "$(readlink -f "$TESSIVAR_CLI")" ]] || continue
        ! tr '\0' ' ' <"$folder/cmdline" 2>/dev/null | grep -qF "$work/$1" || basename "$folder"
    done
}

need parallel
check_queue
check_parallel
check_stopped
finish
