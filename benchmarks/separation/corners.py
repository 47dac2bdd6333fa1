#!/usr/bin/python3
"""corners.py --program PROGRAM --evaluate EVALUATE.PY --cache DIR [--only TEXT] [--json FILE] MATERIAL

What the separation gains and costs in corner cases: a Markdown table with one row for each folder CORNER of
MATERIAL, made by material.py, over all sessions in it. PROGRAM is tessivar-cli; EVALUATE.PY offers compare (track,
truth, output, rate, hits) -> gain, attack, quiet, lost, and si_sdr (output, truth). DIR caches results by program,
session and method, so that only what changed is computed again. Columns, for the refined method unless stated:

  tracks      whose truth is audible
  in          SI-SDR of the unprocessed tracks, mean, dB
  standard    gain at Focus 3, mean (worst)
  suggested, Focus 5   gain, mean (worst)
  attack, quiet, lost  at the suggested Focus: level change of the own drum's hits, and of its quiet ones; per cent of
              hits that fell by more than 6 dB
  near best   tracks whose suggestion comes within 0.5 dB of the best of Focus 0, 1 and 5, per cent
  passed      tracks with a suggested Focus of 0, and how many of them have no drum to keep (silent, absent or a
              single hit)
  unsure      tracks whose suggestion is marked unsure
"""
import argparse
import hashlib
import importlib.util
import json
import os
import subprocess
import sys
import tempfile

import numpy as np
import soundfile as sf

UNSURE_DB = 12.0
FOCUS = (1, 5)


def text(value, pattern="%.1f"):
    return "-" if value is None else pattern % value


def mean(values):
    values = [v for v in values if v is not None]
    return float(np.mean(values)) if values else None


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
        kept = os.path.join(self.args.cache, "%s-%s.json" % (program, hashlib.sha256(folder.encode()).hexdigest()[:16]))
        if os.path.exists(kept):
            with open(kept) as f:
                return json.load(f)
        result = self.compute(folder, method)
        with open(kept, "w") as f:
            json.dump(result, f)
        return result

    def compute(self, folder, method):
        with open(os.path.join(folder, "session.json")) as f:
            info = json.load(f)
        everything = info["tracks"] + info["extra_tracks"]
        refined = method == "refined"
        with tempfile.TemporaryDirectory() as temp:
            command = ["process", "--out", os.path.join(temp, "first"), "--json", "--method", method, "--threads", "2",
                       "--temp", temp, "--focus", "suggested" if refined else "3"]
            group = os.path.join(temp, "group.dls")
            if refined:
                command += ["--save", group]
            for t in everything:
                command += ["--type", t["name"] + "=" + t["drum_type"]]
            report = self.call(*command, *[os.path.join(folder, "tracks", t["file"]) for t in everything])
            outputs = {"first": os.path.join(temp, "first")}
            for focus in FOCUS if refined else []:
                outputs[str(focus)] = os.path.join(temp, str(focus))
                self.call("export", group, "--out", outputs[str(focus)], "--json", "--focus", str(focus))
            rows = {}
            for t in info["tracks"]:
                told = next(r for r in report["tracks"] if r["name"] == t["name"])
                rows[t["name"]] = self.compare(folder, t, outputs) | {
                    k: told.get(k) for k in ("suggestedFocus", "leakageDb", "agreementDb", "removedDb")}
            return rows

    def compare(self, folder, track, outputs):
        x, rate = sf.read(os.path.join(folder, "tracks", track["file"]))
        own = sf.read(os.path.join(folder, "truth", track["file"]))[0]
        sounds = bool(np.sum(own ** 2) > 1e-12 * len(own))
        row = {"sounds": sounds, "drum": track.get("drum"), "energy": float(np.sum(x ** 2)),
               "trueLeakDb": float(10 * np.log10((np.sum((x - own) ** 2) + 1e-20) / (np.sum(own ** 2) + 1e-20)))}
        start = self.truth.si_sdr(x, own) if sounds else None
        row["in"], row["gains"], row["levels"] = start, {}, {}
        for focus, where in outputs.items():
            name = next(f for f in os.listdir(where) if f.startswith(track["name"] + "_Processed"))
            y = sf.read(os.path.join(where, name))[0]
            row["finite"] = row.get("finite", True) and len(y) == len(x) and bool(np.all(np.isfinite(y)))
            row["levels"][focus] = float(10 * np.log10((np.sum(y ** 2) + 1e-20) / (row["energy"] + 1e-20)))
            if not sounds:
                continue
            row["gains"][focus] = self.truth.si_sdr(y, own) - start
            if focus == "first":
                row |= {k: v for k, v in self.truth.compare(x, own, y, rate, track["hits"]).items()
                        if k in ("attack", "quiet", "lost", "leak")}
        return row


def summary(corner, standard, refined):
    """A row of cells for all tracks of a corner."""
    told = [(s, r) for s, r in zip(standard, refined) if r["sounds"]]
    gains = lambda key: [r["gains"][key] for _, r in told]
    cells = [corner, str(len(told))]
    near = [r["gains"]["first"] >= max(0.0, *[r["gains"][str(f)] for f in FOCUS]) - 0.5 for _, r in told]
    passed = [r for r in refined if r["suggestedFocus"] == 0]
    cells.append(text(mean([r["in"] for _, r in told])))
    for values in ([s["gains"]["first"] for s, _ in told], gains("first"), gains("5")):
        cells.append("%.1f (%.1f)" % (mean(values), min(values)) if values else "-")
    cells += [text(mean([r.get("attack") for _, r in told]), "%.2f"), text(mean([r.get("quiet") for _, r in told]), "%.2f"),
              text(mean([r.get("lost") for _, r in told]), "%.1f")]
    cells.append("%.0f" % (100.0 * sum(near) / len(near)) if near else "-")
    cells.append("%d (%d)" % (len(passed), sum(not r["sounds"] or r["drum"] is not None for r in passed)))
    cells.append("%d" % sum(r["suggestedFocus"] != 0 and r["agreementDb"] is not None and r["agreementDb"] < UNSURE_DB
                            for r in refined))
    if not all(r["finite"] for r in refined + standard):
        cells[-1] += " NOT FINITE"
    return cells


COLUMNS = ["corner", "tracks", "in", "standard", "suggested", "Focus 5", "attack", "quiet", "lost", "near best", "passed",
           "unsure"]


def main():
    parser = argparse.ArgumentParser(usage=__doc__)
    parser.add_argument("material")
    parser.add_argument("--program", required=True)
    parser.add_argument("--evaluate", required=True)
    parser.add_argument("--cache", required=True)
    parser.add_argument("--only", default="")
    parser.add_argument("--json", help="every track's figures")
    args = parser.parse_args()
    runner = Runner(args)
    everything = {"standard": {}, "refined": {}}
    print("| " + " | ".join(COLUMNS) + " |\n|" + " --- |" * len(COLUMNS))
    all_standard, all_refined = [], []
    for corner in sorted(os.listdir(args.material)):
        if args.only not in corner:
            continue
        standard, refined = [], []
        for name in sorted(os.listdir(os.path.join(args.material, corner))):
            folder = os.path.join(args.material, corner, name)
            for method, rows in (("standard", standard), ("refined", refined)):
                result = runner.result(folder, method)
                everything[method][corner + "/" + name] = result
                rows += result.values()
        print("| " + " | ".join(summary(corner, standard, refined)) + " |", flush=True)
        all_standard += standard
        all_refined += refined
    print("| " + " | ".join(summary("all", all_standard, all_refined)) + " |")
    if args.json:
        with open(args.json, "w") as f:
            json.dump(everything, f)


if __name__ == "__main__":
    sys.exit(main())
