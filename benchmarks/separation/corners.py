#!/usr/bin/python3
"""corners.py --program PROGRAM --evaluate EVALUATE.PY --cache DIR [--only TEXT] [--standard] [--jobs N] [--json FILE]
MATERIAL

What the separation gains and costs in corner cases: a Markdown table with one row for each folder CORNER of
MATERIAL, made by material.py, over all sessions in it. PROGRAM is tessivar-cli. EVALUATE.PY offers
si_sdr (output, truth) in dB and attack (output, truth, hits, rate, leakage) -> [(level change of a hit in dB,
velocity)]. DIR caches results by program, session and method, so that only what changed is computed again. With
--jobs N sessions run side by side, on one thread each. Columns, for the refined method unless stated:

  tracks      whose truth is audible
  in          SI-SDR of the unprocessed tracks, mean, dB
  standard    gain of the standard method at Focus 3, mean (worst); with --standard
  suggested   gain at the suggested Focus, mean (worst)
  best        gain at the best whole Focus, 0 to 5, of each track, mean
  worse       tracks whose gain at the suggested Focus is below -0.5 dB
  attack, quiet, lost  at the suggested Focus: level change of the own drum's hits, and of its quiet ones; per cent of
              hits that fell by more than 6 dB
  near best   tracks whose suggestion comes within 0.5 dB of the best whole Focus, per cent
  passed      tracks with a suggested Focus of 0, and how many of them have no drum to keep (silent, absent or a
              single hit)
  sure, unsure  tracks whose suggestion, other than 0, is called so

Then the means by class of corner; of the tracks called sure the share that is worse; every track that is worse; and
where only types or microphones were changed, what that cost the tracks that stayed, against the session as recorded.
"""
import argparse
import concurrent.futures
import hashlib
import importlib.util
import json
import os
import subprocess
import sys
import tempfile

import numpy as np
import soundfile as sf

from tables import mean, print_heading, print_row, text

SURE_DB, UNSURE_DB = 20.0, 12.0  # of the agreement, for programs that don't say how sure they are
FOCUS = ["1", "2", "3", "4", "5"]
HARM_DB = -0.5
TOLD = ("suggestedFocus", "leakageDb", "agreementDb", "removedDb", "hits", "confidence", "evidence")
CLASSES = {  # the corner's name begins with one of these
    "as recorded": ("as recorded",),
    "less leakage": ("no leakage", "leakage -"),
    "more leakage": ("leakage +", "other levels"),
    "short": ("10 s",),
    "drums that rest": ("a drum",),
    "microphones missing": ("missing", "few", "one microphone"),
    "more drums": ("two ", "12 tracks", "20 tracks", "5 minutes"),
    "together, apart": ("drums hit",),
    "types, second microphones": ("wrong types", "second microphone"),
    "overheads": ("Other and",),
    "silence": ("silent", "35 %", "tracks muted", "a silent", "all silent"),
    "noise, changes": ("noise", "changes"),
    "rates, lengths": ("44.1", "48 kHz", "88.2", "96 kHz", "192", "60 s", "61 s"),
}
CHANGED = ("wrong types", "second microphone", "Other and", "changes")


def class_of(corner):
    return next((c for c, starts in CLASSES.items() if corner.startswith(starts)), "other")


def certainty(told):
    """sure, fairly sure, unsure, or None where the suggestion is to leave the track as it is."""
    if not told.get("suggestedFocus"):
        return None
    if told.get("certainty"):
        return told["certainty"]
    agreement = told["agreementDb"] if told.get("agreementDb") is not None else -100.0
    return "sure" if agreement >= SURE_DB else "unsure" if agreement < UNSURE_DB else "fairly sure"


def products(x, own, y):
    """Of an output y with the truth, the source and itself; with x for y the source's own, then the truth's."""
    return [float(y @ own), float(x @ y), float(y @ y), float(own @ own)]


class Runner:
    def __init__(self, args):
        spec = importlib.util.spec_from_file_location("evaluate", args.evaluate)
        self.truth = importlib.util.module_from_spec(spec)
        spec.loader.exec_module(self.truth)
        self.args = args
        with open(args.program, "rb") as f:
            self.binary = hashlib.sha256(f.read()).hexdigest()[:12]
        os.makedirs(args.cache, exist_ok=True)

    def call(self, *command):
        done = subprocess.run([self.args.program, *command], stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        if done.returncode != 0:
            raise RuntimeError("%s ended with %d: %s" % (" ".join(command), done.returncode, done.stderr[-300:]))
        return json.loads(done.stdout)

    def result(self, folder, method):
        # The refinement doesn't affect the standard method: its results hold for every program.
        program = "standard" if method == "standard" else self.binary
        made = os.stat(os.path.join(folder, "session.json")).st_mtime_ns  # material.py writes it last
        key = hashlib.sha256(("%s %d" % (os.path.abspath(folder), made)).encode()).hexdigest()[:16]
        kept = os.path.join(self.args.cache, "%s-%s.json" % (program, key))
        if os.path.exists(kept):
            with open(kept) as f:
                return json.load(f)
        result = self.compute(folder, method)
        with open(kept + ".part", "w") as f:
            json.dump(result, f)
        os.replace(kept + ".part", kept)
        return result

    def compute(self, folder, method):
        with open(os.path.join(folder, "session.json")) as f:
            info = json.load(f)
        everything = info["tracks"] + info["extra_tracks"]
        refined = method == "refined"
        with tempfile.TemporaryDirectory() as temp:
            outputs = {"chosen": os.path.join(temp, "chosen")}
            command = ["process", "--out", outputs["chosen"], "--json", "--method", method, "--temp", temp, "--threads",
                       "2" if self.args.jobs == 1 else "1", "--focus", "suggested" if refined else "3"]
            group = os.path.join(temp, "group.dls")
            if refined:
                command += ["--save", group]
            for t in everything:
                command += ["--type", t["name"] + "=" + t["drum_type"]]
            report = self.call(*command, *[os.path.join(folder, "tracks", t["file"]) for t in everything])
            for focus in FOCUS if refined else []:
                outputs[focus] = os.path.join(temp, focus)
                self.call("export", group, "--out", outputs[focus], "--json", "--focus", focus)
            rows = {}
            for t in info["tracks"]:
                told = next(r for r in report["tracks"] if r["name"] == t["name"])
                rows[t["name"]] = self.compare(folder, t, outputs) | {"certainty": certainty(told)} | {
                    k: told.get(k) for k in TOLD}
            return rows

    def compare(self, folder, track, outputs):
        x, rate = sf.read(os.path.join(folder, "tracks", track["file"]))
        own = sf.read(os.path.join(folder, "truth", track["file"]))[0]
        sounds = bool(np.sum(own ** 2) > 1e-12 * len(own))
        row = {"sounds": sounds, "drum": track.get("drum"), "finite": True, "gains": {},
               "products": {"": products(x, own, x)},
               "in": self.truth.si_sdr(x, own) if sounds else None,
               "trueLeakDb": float(10 * np.log10((np.sum((x - own) ** 2) + 1e-20) / (np.sum(own ** 2) + 1e-20)))}
        for focus, where in outputs.items():
            name = next(f for f in os.listdir(where) if f.startswith(track["name"] + "_Processed"))
            y = sf.read(os.path.join(where, name))[0]
            row["finite"] = row["finite"] and len(y) == len(x) and bool(np.all(np.isfinite(y)))
            if not sounds:
                continue
            row["gains"][focus] = self.truth.si_sdr(y, own) - row["in"]
            row["products"][focus] = products(x, own, y)
            if focus == "chosen":
                hits = self.truth.attack(y, own, track["hits"], rate, x - own)
                quiet = [change for change, velocity in hits if velocity < 0.4]
                row["attack"] = float(np.median([change for change, _ in hits])) if hits else None
                row["quiet"] = float(np.median(quiet)) if quiet else None
                row["lost"] = 100.0 * float(np.mean([change < -6 for change, _ in hits])) if hits else None
        return row


def gain(row):
    return row["gains"]["chosen"]


def best(row):
    return max(0.0, *[row["gains"][f] for f in FOCUS])


def is_worse(row):
    return row["sounds"] and gain(row) < HARM_DB


def mean_and_worst(values):
    return "%.1f (%.1f)" % (mean(values), min(values)) if values else "-"


COLUMNS = ["corner", "tracks", "in", "suggested", "best", "worse", "attack", "quiet", "lost", "near best", "passed", "sure",
           "unsure"]


def summary(corner, refined, standard):
    """A row of cells for all tracks of a corner; standard is None where it isn't asked for."""
    told = [r for r in refined if r["sounds"]]
    near = [gain(r) >= best(r) - 0.5 for r in told]
    passed = [r for r in refined if r["suggestedFocus"] == 0]
    cells = [corner, str(len(told)), text(mean([r["in"] for r in told]))]
    if standard is not None:
        cells.append(mean_and_worst([gain(r) for r in standard if r["sounds"]]))
    cells += [mean_and_worst([gain(r) for r in told]), text(mean([best(r) for r in told]))]
    cells.append(str(sum(map(is_worse, refined))))
    cells += [text(mean([r.get("attack") for r in told]), "%.2f"), text(mean([r.get("quiet") for r in told]), "%.2f"),
              text(mean([r.get("lost") for r in told]))]
    cells.append("%.0f" % (100.0 * sum(near) / len(near)) if near else "-")
    cells.append("%d (%d)" % (len(passed), sum(not r["sounds"] or r["drum"] is not None for r in passed)))
    cells += [str(sum(r["certainty"] == c for r in refined)) for c in ("sure", "unsure")]
    if not all(r["finite"] for r in refined + (standard or [])):
        cells[-1] += " NOT FINITE"
    return cells


def print_classes(results):
    print("\nMeans by class of corner:\n")
    print_heading(["class", "tracks", "suggested", "best", "worse", "sure", "of these worse"])
    rows = {}
    for corner, _, _, row in results:
        for name in (class_of(corner), "all"):
            rows.setdefault(name, []).append(row)
    for name in [*CLASSES, "other", "all"]:
        if name in rows:
            told = [r for r in rows[name] if r["sounds"]]
            sure = [r for r in told if r["certainty"] == "sure"]
            print_row([name, str(len(told)), mean_and_worst([gain(r) for r in told]), text(mean([best(r) for r in told])),
                       str(sum(map(is_worse, told))), str(len(sure)), str(sum(map(is_worse, sure)))])


def print_harm(results):
    sure = [r for _, _, _, r in results if r["sounds"] and r["certainty"] == "sure"]
    wrong = sum(map(is_worse, sure))
    print("\nOf %d tracks called sure %d lose more than 0.5 dB (%.2f %%; at most 0.5 %% is asked).\n"
          % (len(sure), wrong, 100.0 * wrong / max(1, len(sure))))
    harmed = sorted((r for r in results if is_worse(r[3])), key=lambda r: gain(r[3]))
    print("Tracks that lose more than 0.5 dB%s" % (":\n" if harmed else ": none."))
    if harmed:
        print_heading(["corner", "session", "track", "in", "gain", "best", "certainty"])
    for corner, session, track, r in harmed:
        print_row([corner, session, track, text(r["in"]), text(gain(r)), text(best(r)), r["certainty"] or "-"])


def print_costs(results):
    recorded = {(session, track): gain(r) for corner, session, track, r in results
                if corner == "as recorded" and r["sounds"]}
    changed = {}
    for corner, session, track, r in results:
        before = recorded.get((session.split(".")[0], track))
        if corner.startswith(CHANGED) and r["sounds"] and before is not None:
            changed.setdefault((corner, session), []).append((gain(r) - before, track))
    if changed:
        print("\nGain against the same track as recorded, dB:\n")
        print_heading(["corner", "session", "mean", "worst", "track"])
        for (corner, session), costs in changed.items():
            print_row([corner, session, text(mean([c for c, _ in costs])), text(min(costs)[0]), min(costs)[1]])


def main():
    parser = argparse.ArgumentParser(usage=__doc__)
    parser.add_argument("material")
    parser.add_argument("--program", required=True)
    parser.add_argument("--evaluate", required=True)
    parser.add_argument("--cache", required=True)
    parser.add_argument("--only", default="", help="corners whose name holds this")
    parser.add_argument("--standard", action="store_true", help="measure the standard method too")
    parser.add_argument("--jobs", type=int, default=1)
    parser.add_argument("--json", help="every track's figures")
    args = parser.parse_args()
    runner = Runner(args)
    methods = ["refined", "standard"] if args.standard else ["refined"]
    everything = {method: {} for method in methods}
    heading = list(COLUMNS)
    if args.standard:
        heading.insert(3, "standard")
    corners = [c for c in sorted(os.listdir(args.material)) if args.only in c]
    folders = {c: sorted(os.listdir(os.path.join(args.material, c))) for c in corners}
    with concurrent.futures.ThreadPoolExecutor(args.jobs) as pool:
        runs = {(m, c, s): pool.submit(runner.result, os.path.join(args.material, c, s), m)
                for c in corners for s in folders[c] for m in methods}
        print_heading(heading)
        results = []  # (corner, session, track, row) of the refined method
        all_rows = {method: [] for method in methods}
        for corner in corners:
            rows = {method: [] for method in methods}
            for session in folders[corner]:
                for method in methods:
                    result = everything[method][corner + "/" + session] = runs[method, corner, session].result()
                    rows[method] += result.values()
                    if method == "refined":
                        results += [(corner, session, track, r) for track, r in result.items()]
            print_row(summary(corner, rows["refined"], rows.get("standard")))
            for method in methods:
                all_rows[method] += rows[method]
    print_row(summary("all", all_rows["refined"], all_rows.get("standard")))
    print_classes(results)
    print_harm(results)
    print_costs(results)
    if args.json:
        with open(args.json, "w") as f:
            json.dump(everything, f)


if __name__ == "__main__":
    sys.exit(main())
