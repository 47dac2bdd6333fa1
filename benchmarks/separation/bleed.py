#!/usr/bin/python3
"""bleed.py --program PROGRAM [--json FILE] SESSION...

How near the bleed map comes to the truth, on sessions as for separation.py.

Before: the truth knows what all other drums together give in a microphone. A single drum's part of it is measured at
its lone hits, which no other track's hit comes near: leakage over the drum's own signal in the 150 ms after the
onset, the median over the hits, where the leakage rises by 10 dB and there are three such hits. After, with the
suggested Focus: the output without its own drum, against the sum over a row of the map; what the output lacks of
the own drum counts there too. Levels are against the microphone's own drum. Prints Markdown.
"""
import argparse
import json
import os
import subprocess
import tempfile

import numpy as np
import soundfile as sf

from sessions import load
from tables import mean, print_heading, print_row, text


def db(ratio):
    return 10 * np.log10(max(ratio, 1e-12))


def energy(x):
    return float(np.sum(np.square(x)))


def lone_hits(session, drum, seconds=0.15):
    """Onsets of a track's drum, in samples, with no other track's onset from 250 ms before to the window's end."""
    others = [h[0] for t in session.tracks if t["drum"] != drum["drum"] for h in t["hits"]]
    before, after = 0.25 * session.rate, seconds * session.rate
    return [h[0] for h in drum["hits"] if not any(-before < o - h[0] < after for o in others)]


def true_level(session, microphone, drum):
    """dB of a drum in a microphone; None where its hits don't tell."""
    ratios, length = [], int(0.15 * session.rate)
    for onset in lone_hits(session, drum):
        start = max(0, onset - int(0.005 * session.rate))
        quiet = microphone["rest"][max(0, start - length // 3):start]
        leakage, own = (energy(x[start:start + length]) for x in (microphone["rest"], drum["own"]))
        if own > 0 and len(quiet) and leakage > 10 * energy(quiet) * length / len(quiet):
            ratios.append(leakage / own)
    if len(ratios) < 3:
        return None
    return db(np.median(ratios) * energy(drum["own"]) / energy(microphone["own"]))


def process(program, folder, session, out):
    command = [program, "process", "--out", out, "--method", "refined", "--json"]
    for track in session.tracks:
        command += ["--type", track["name"] + "=" + track["drum_type"]]
    done = subprocess.run(command + [os.path.join(folder, "tracks")], check=True, stdout=subprocess.PIPE, text=True)
    return json.loads(done.stdout)["tracks"]


def compare(program, folder):
    session = load(folder)
    with open(os.path.join(folder, "session.json")) as f:
        for track, info in zip(session.tracks, json.load(f)["tracks"]):
            track["drum"] = info["drum"]
    cells, rows = [], []
    with tempfile.TemporaryDirectory() as out:
        found = {t["name"]: t for t in process(program, folder, session, out)}
        for track in session.tracks:
            report = found[track["name"]]
            for cell in report["bleed"]:
                drum = next(t for t in session.tracks if t["name"] == cell["drum"])
                level = None if cell["sameDrum"] else true_level(session, track, drum)
                if level is not None and cell["beforeDb"] is not None:
                    cells.append({"session": session.name, "microphone": track["name"], "drum": drum["name"],
                                  "true": level, "map": cell["beforeDb"]})
            others = [c for c in report["bleed"] if not c["sameDrum"]]
            total = [db(sum(10 ** (c[key] / 10) for c in others if c[key] is not None)) for key in ("beforeDb", "afterDb")]
            output = sf.read(report["file"])[0]
            true = [db(energy(x) / energy(track["own"])) for x in (track["rest"], output - track["own"])]
            rows.append({"session": session.name, "track": track["name"], "true": true, "map": total})
    return cells, rows


def main():
    parser = argparse.ArgumentParser(usage=__doc__)
    parser.add_argument("sessions", nargs="+")
    parser.add_argument("--program", required=True)
    parser.add_argument("--json")
    args = parser.parse_args()
    results = [compare(args.program, folder) for folder in args.sessions]
    cells, rows = (sum((r[k] for r in results), []) for k in (0, 1))
    if args.json:
        with open(args.json, "w") as f:
            json.dump({"cells": cells, "rows": rows}, f, indent=1)

    print_heading(["session", "cells", "error", "bias", "worst"])
    for name in sorted({c["session"] for c in cells}) + ["all"]:
        errors = [c["map"] - c["true"] for c in cells if name in (c["session"], "all")]
        print_row([name, str(len(errors)), text(mean([abs(e) for e in errors])), text(mean(errors)),
                   text(max(errors, key=abs))])
    print()
    print_heading(["all drums together", "tracks", "error", "bias", "worst"])
    for k, name in enumerate(("before", "after")):
        errors = [r["map"][k] - r["true"][k] for r in rows]
        print_row([name, str(len(errors)), text(mean([abs(e) for e in errors])), text(mean(errors)),
                   text(max(errors, key=abs))])
    print()
    print_heading(["session", "track", "before: true", "map", "after: true", "map"])
    for r in rows:
        print_row([r["session"], r["track"]] + [text(x[k]) for k in (0, 1) for x in (r["true"], r["map"])])


if __name__ == "__main__":
    main()
