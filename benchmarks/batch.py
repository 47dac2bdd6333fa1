#!/usr/bin/python3
"""batch.py --program PROGRAM [--sessions N] [--seconds S] [--rounds N]

Measures what packaging/batch/with-parallel adds to the runs themselves, and how a batch grows from one core to two:
the same short sessions, cut from the demo session, on one core and on all, in turns, the median of the rounds. Prints a
Markdown table. Other work on the machine slows both; processor time hardly knows of it.
"""

import argparse
import json
import os
import pathlib
import resource
import statistics
import subprocess
import tempfile
import time
import wave

WITH_PARALLEL = pathlib.Path(__file__).resolve().parents[1] / "packaging" / "batch" / "with-parallel"
START_SECONDS = 7.5  # before the first fill, so that every drum plays


def make_sessions(program, folder, count, seconds):
    """Every session is a folder of links to the same cut of the demo session."""
    subprocess.run([program, "demo", folder / "demo"], check=True, stdout=subprocess.DEVNULL)
    (folder / "cut").mkdir()
    for source in (folder / "demo").glob("*.wav"):
        with wave.open(str(source)) as whole, wave.open(str(folder / "cut" / source.name), "wb") as cut:
            cut.setparams(whole.getparams())
            whole.setpos(int(START_SECONDS * whole.getframerate()))
            cut.writeframes(whole.readframes(int(seconds * whole.getframerate())))
    for number in range(count):
        session = folder / "in" / f"{number:04}"
        session.mkdir(parents=True)
        for track in (folder / "cut").iterdir():
            os.link(track, session / track.name)
    return sorted((folder / "in").iterdir())


def processor_seconds():
    """Of all processes that have ended below this one."""
    usage = resource.getrusage(resource.RUSAGE_CHILDREN)
    return usage.ru_utime + usage.ru_stime


def run(program, sessions, out, cores, options):
    """Seconds until the first session is begun, in all, of the runs themselves by their documents, of processors."""
    command = ["taskset", "--cpu-list", cores, WITH_PARALLEL, out, *sessions, "--", *options]
    begun, processors = time.monotonic(), processor_seconds()
    with subprocess.Popen(command, env={**os.environ, "TESSIVAR_CLI": str(program)}, stdout=subprocess.PIPE,
                          stderr=subprocess.DEVNULL) as batch:
        batch.stdout.readline()
        planned = time.monotonic() - begun
        batch.stdout.read()
    if batch.returncode != 0:
        raise SystemExit(f"with-parallel: {batch.returncode}")
    total = time.monotonic() - begun
    runs = [json.loads(document.read_text())["seconds"]["total"] for document in out.glob("*.json")]
    return planned, total, sum(runs), processor_seconds() - processors


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--program", type=pathlib.Path, required=True)
    parser.add_argument("--sessions", type=int, default=200)
    parser.add_argument("--seconds", type=float, default=4.0)
    parser.add_argument("--rounds", type=int, default=3)
    parser.add_argument("options", nargs="*", help="for tessivar-cli process, behind --")
    arguments = parser.parse_args()
    all_cores = sorted(os.sched_getaffinity(0))
    places = {1: str(all_cores[0]), len(all_cores): ",".join(map(str, all_cores))}
    measured = {count: [] for count in places}

    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        sessions = make_sessions(arguments.program, folder, arguments.sessions, arguments.seconds)
        for number in range(arguments.rounds):
            for count, cores in places.items():
                out = folder / f"out-{number}-{count}"
                measured[count].append(run(arguments.program.resolve(), sessions, out, cores, arguments.options))
                subprocess.run(["rm", "-r", out], check=True)

    print("| cores | in all, s | before the first session, s | sessions a minute | a session's run, s | beside it, s "
          "| processor time, s |")
    print("|---|---|---|---|---|---|---|")
    for count, rounds in measured.items():
        planned, total, runs, processors = (statistics.median(each) for each in zip(*rounds))
        beside = (total - runs / count) * count / arguments.sessions
        print(f"| {count} | {total:.0f} | {planned:.1f} | {60 * arguments.sessions / total:.0f} "
              f"| {runs / arguments.sessions:.2f} | {beside:.2f} | {processors / arguments.sessions:.2f} |")
    ratios = [one[1] / many[1] for one, many in zip(*(measured[count] for count in places))]
    print(f"\nThroughput on {len(all_cores)} cores over 1, by round: {', '.join(f'{ratio:.2f}' for ratio in ratios)}")


main()
