#!/usr/bin/python3
"""separation.py --program PROGRAM --evaluate EVALUATE.PY [--seeds 1,2,3] [--method both] [--json FILE] SESSION...

How much leakage goes and how little of the drum: tables over recorded sessions whose truth is known.

A SESSION is a folder with session.json (per track: name, file, drum_type), tracks/ and truth/; EVALUATE.PY compares
processed files with the truth and writes a result with --json (per track: gain, attack, quiet, lost). PROGRAM is
tessivar-cli. Every session is processed with both methods at Focus 1 to 5, and with the refined one at its suggested
Focus, for every seed. The figure of merit of a track is
max (-20, gain) - 0.5 max (0, -attack) - 0.5 max (0, -quiet) - 0.1 lost%, in dB. Prints Markdown.
"""
import argparse
import json
import os
import subprocess
import sys
import tempfile

from tables import mean, print_heading, print_row, text

FOCUS = ["1", "2", "3", "4", "5"]


def merit(track):
    value = max(-20.0, track["gain"])
    for key in ("attack", "quiet"):
        if track[key] is not None:
            value -= 0.5 * max(0.0, -track[key])
    return value - 0.1 * (track["lost"] or 0.0)


def process(args, session, method, focus, seed, out, *options):
    with open(os.path.join(session, "session.json")) as f:
        tracks = json.load(f)["tracks"]
    command = [args.program, "process", "--out", out, "--overwrite", "--quiet", "--method", method]
    command += ["--focus", focus, "--seed", str(seed), *options]
    for track in tracks:
        command += ["--type", track["name"] + "=" + track["drum_type"]]
    command += [os.path.join(session, "tracks", track["file"]) for track in tracks]
    subprocess.run(command, check=True, stdout=subprocess.DEVNULL)


def at_every_focus(args, session, method, seed, out):
    """Processes a session into folders of out that are named after the Focus, and returns these names."""
    focus = FOCUS + (["suggested"] if method == "refined" else [])
    group = os.path.join(out, "group.dls")
    process(args, session, method, focus[-1], seed, os.path.join(out, focus[-1]), "--save", group)
    for f in focus[:-1]:
        subprocess.run([args.program, "export", group, "--out", os.path.join(out, f), "--focus", f, "--quiet"], check=True,
                       stdout=subprocess.DEVNULL)
    return focus


def evaluate(args, session, out):
    result = os.path.join(out, "result.json")
    done = subprocess.run([sys.executable, args.evaluate, session, out, "--json", result], stdout=subprocess.PIPE, text=True)
    if done.returncode != 0:
        sys.exit("%s: evaluation ended with %d\n%s" % (session, done.returncode, done.stdout))
    with open(result) as f:
        return json.load(f)["tracks"]


def main():
    parser = argparse.ArgumentParser(usage=__doc__)
    parser.add_argument("sessions", nargs="+")
    parser.add_argument("--program", required=True)
    parser.add_argument("--evaluate", required=True)
    parser.add_argument("--seeds", default="1,2,3,4,5")
    parser.add_argument("--method", default="both", choices=["both", "standard", "refined"])
    parser.add_argument("--json")
    args = parser.parse_args()
    seeds = [int(s) for s in args.seeds.split(",")]
    methods = ["standard", "refined"] if args.method == "both" else [args.method]
    all_results = {}

    for method in methods:
        for session in args.sessions:
            for seed in seeds:
                with tempfile.TemporaryDirectory() as out:
                    for focus in at_every_focus(args, session, method, seed, out):
                        key = (method, focus, os.path.basename(os.path.normpath(session)), seed)
                        all_results[key] = evaluate(args, session, os.path.join(out, focus))

    def tracks_of(method, focus, name=None, seed=None):
        return [t for key, tracks in all_results.items() if key[:2] == (method, focus)
                and (name is None or key[2] == name) and (seed is None or key[3] == seed) for t in tracks.values()]

    names = [os.path.basename(os.path.normpath(s)) for s in args.sessions]
    print("Mean over all tracks and starts, dB (worst track; spread of the mean over the starts):\n")
    print_heading(["method", "Focus"] + names + ["all", "worst track", "spread", "figure of merit", "attack", "quiet", "hits lost"])
    for method in methods:
        for focus in FOCUS + (["suggested"] if method == "refined" else []):
            every = tracks_of(method, focus)
            by_seed = [mean([t["gain"] for t in tracks_of(method, focus, seed=s)]) for s in seeds]
            print_row([method, focus] + [text(mean([t["gain"] for t in tracks_of(method, focus, n)])) for n in names]
                      + [text(mean([t["gain"] for t in every])), text(min(t["gain"] for t in every)),
                         text(max(by_seed) - min(by_seed), "%.2f"), text(mean([merit(t) for t in every])),
                         text(mean([t["attack"] for t in every]), "%.2f"), text(mean([t["quiet"] for t in every]), "%.2f"),
                         text(mean([t["lost"] for t in every]), "%.1f %%")])

    seed = seeds[0]
    columns = [("standard", f) for f in FOCUS if "standard" in methods]
    columns += [("refined", f) for f in FOCUS + ["suggested"] if "refined" in methods]
    print("\nTrack by track, start %d, gain in dB:\n" % seed)
    print_heading(["session", "track"] + [m[:3] + " " + f for m, f in columns])
    for name in names:
        for track in all_results[columns[0] + (name, seed)]:
            print_row([name, track] + [text(all_results[c + (name, seed)][track]["gain"]) for c in columns])

    if "refined" in methods:
        near = total = 0
        for key, tracks in all_results.items():
            if key[:2] != ("refined", "suggested"):
                continue
            for track, r in tracks.items():
                best = max(all_results[("refined", f) + key[2:]][track]["gain"] for f in FOCUS)
                near += r["gain"] >= best - 0.5
                total += 1
        print("\nThe suggested Focus comes within 0.5 dB of the best whole Focus on %d of %d tracks." % (near, total))

    if args.json:
        with open(args.json, "w") as f:
            json.dump([dict(zip(("method", "focus", "session", "seed"), k), tracks=v) for k, v in all_results.items()], f)


if __name__ == "__main__":
    main()
