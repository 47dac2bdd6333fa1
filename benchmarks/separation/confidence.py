#!/usr/bin/python3
"""confidence.py --program PROGRAM --cache DIR [--only TEXT] MATERIAL

Fits how far the refined method may be believed, by MATERIAL that material.py made of recorded sessions. The layers of a
track take place as far as its confidence says, a logistic model of doubts (engine/refinement/TrackBenefit.cpp); what
a track would gain at any other confidence follows from its output by straight mixing. The weights are those with the
greatest mean gain over all corners, where a loss counts nine times. Prints the gain with nothing doubted, with the
weights fitted on everything, and with those fitted without the recording that a session was made of, mean (worst,
number below -0.5 dB); then how many tracks would be sure, and the weights. DIR caches what PROGRAM, tessivar-cli,
made of a session.
"""
import argparse
import hashlib
import json
import os
import subprocess
import tempfile

import numpy as np
import scipy.optimize
import soundfile as sf

from tables import print_heading, print_row

NAMES = ["certain", "foreign", "small", "unlike output", "foreign and unlike", "no source", "much leakage", "no better",
         "few hits", "wet", "small and much leakage", "small and no better", "foreign and no better", "few hits and discord"]
SKIPPED = ("88.2 kHz", "96 kHz", "192 kHz", "60 s", "61 s", "5 minutes", "20 tracks", "all silent", "one microphone",
           "no leakage")
SPARED = ("second microphone on one drum", "wrong types", "leakage +20 dB")  # extreme: count a third
LOSS_WEIGHT, KNEE_DB, RIDGE, BEYOND_DOUBT = 8.0, 0.2, 0.003, 0.95
HARM_DB = -0.5


def doubts(told):
    """The doubts of a track, as confidenceOf() has them."""
    e = told["evidence"]
    matches, leakage = e["matchDb"], min(told["leakageDb"], 5.0)
    better = max(max(matches[1:]) - matches[0], -12.0)
    subtracted = e["subtractedDb"] > -99.0
    share = e["subtractionAgreement"] * 10 ** (-e["subtractedDb"] / 20)
    short = lambda limit, value, step: max(0.0, limit - value) / step
    foreign = short(0.85, share, 0.1) if subtracted else 0.0
    unlike = short(0.7, e["outputAgreement"], 0.2)
    agreement = e["subtractionAgreement"]
    small = short(0.6, agreement, 0.1) if subtracted else 0.0
    much, no_better, few = short(8, -leakage, 4), short(3, better, 3), short(4, told["hits"], 1)
    discord = short(0.72, agreement, 0.1) * short(-leakage - 1, matches[0], 2) if subtracted else 0.0
    return [1.0, foreign, small, unlike, foreign * unlike / 3, 0.0 if subtracted else short(20, -leakage, 5), much, no_better,
            few, short(6, matches[0], 3), small * much, small * no_better, foreign * no_better, few * discord]


def products(x, own, y):
    """Products of truth, track and layers: of (own, own), (x, own), (y, own), (x, x), (x, y), (y, y)."""
    return [float(a @ b) for a, b in ((own, own), (x, own), (y, own), (x, x), (x, y), (y, y))]


def measure(program, folder):
    with open(os.path.join(folder, "session.json")) as f:
        info = json.load(f)
    everything = info["tracks"] + info["extra_tracks"]
    rows = []
    with tempfile.TemporaryDirectory() as temp:
        command = [program, "process", "--out", temp, "--json", "--method", "refined", "--focus", "5", "--temp", temp]
        for t in everything:
            command += ["--type", t["name"] + "=" + t["drum_type"]]
        command += [os.path.join(folder, "tracks", t["file"]) for t in everything]
        report = json.loads(subprocess.run(command, check=True, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL).stdout)
        for t in info["tracks"]:
            told = next(r for r in report["tracks"] if r["name"] == t["name"])
            x = sf.read(os.path.join(folder, "tracks", t["file"]))[0]
            own = sf.read(os.path.join(folder, "truth", t["file"]))[0]
            if not told.get("confidence") or not np.sum(own ** 2) > 1e-12 * len(own):
                continue
            name = next(f for f in os.listdir(temp) if f.startswith(t["name"] + "_Processed"))
            y = x + (sf.read(os.path.join(temp, name))[0] - x) / told["confidence"]
            rows.append({"track": t["name"], "doubts": doubts(told), "products": products(x, own, y)})
    return rows


def cached(args, folder):
    with open(args.program, "rb") as f:
        binary = hashlib.sha256(f.read()).hexdigest()[:12]
    made = os.stat(os.path.join(folder, "session.json")).st_mtime_ns
    key = hashlib.sha256(("%s %d" % (os.path.abspath(folder), made)).encode()).hexdigest()[:16]
    kept = os.path.join(args.cache, "confidence-%s-%s.json" % (binary, key))
    if not os.path.exists(kept):
        rows = measure(args.program, folder)
        with open(kept + ".part", "w") as f:
            json.dump(rows, f)
        os.replace(kept + ".part", kept)
    with open(kept) as f:
        return json.load(f)


def si_sdr(p, confidence):
    own, xs, ys, xx, xy, yy = p.T
    s = (1 - confidence) * xs + confidence * ys
    energy = (1 - confidence) ** 2 * xx + 2 * confidence * (1 - confidence) * xy + confidence ** 2 * yy
    signal = s * s / own
    return 10 * np.log10(np.maximum(signal, 1e-20) / np.maximum(energy - signal, 1e-9 * signal + 1e-12))


class Model:
    def __init__(self, rows):
        self.x = np.array([r["doubts"] for r in rows])
        self.p = np.array([r["products"] for r in rows])
        corners = [r["corner"] for r in rows]
        self.weight = np.array([(0.3 if c in SPARED else 1.0) / np.sqrt(corners.count(c)) for c in corners])
        self.before = si_sdr(self.p, np.zeros(len(rows)))

    def confidence(self, w):
        return np.minimum(1, 1 / (1 + np.exp(-np.clip(w[0] - self.x[:, 1:] @ w[1:], -40, 40))) / BEYOND_DOUBT)

    def gain(self, confidence):
        return np.maximum(si_sdr(self.p, confidence) - self.before, -60)

    def fit(self, chosen):
        def loss(w):
            gain = np.clip(self.gain(self.confidence(w))[chosen], -25, 20)
            harm = 0.4 * np.logaddexp(0, (KNEE_DB - gain) / 0.4)
            return self.weight[chosen] @ (LOSS_WEIGHT * harm - gain) / self.weight[chosen].sum() + RIDGE * w[1:] @ w[1:]
        start = np.array([4.0] + [0.3] * (len(NAMES) - 1))
        return scipy.optimize.minimize(loss, start, method="L-BFGS-B", bounds=[(0, 6)] * len(NAMES)).x


def main():
    parser = argparse.ArgumentParser(usage=__doc__)
    parser.add_argument("material")
    parser.add_argument("--program", required=True)
    parser.add_argument("--cache", required=True)
    parser.add_argument("--only", default="")
    args = parser.parse_args()
    os.makedirs(args.cache, exist_ok=True)
    rows = []
    for corner in sorted(os.listdir(args.material)):
        if corner.startswith(SKIPPED) or args.only not in corner:
            continue
        for name in sorted(os.listdir(os.path.join(args.material, corner))):
            for row in cached(args, os.path.join(args.material, corner, name)):
                rows.append(row | {"corner": corner, "session": name, "recording": name.split(".")[0]})
    model = Model(rows)
    weights = model.fit(np.ones(len(rows), bool))
    fitted, left_out = model.confidence(weights), np.zeros(len(rows))
    recordings = np.array([r["recording"] for r in rows])
    for recording in set(recordings):
        own = recordings == recording
        left_out[own] = model.confidence(model.fit(~own))[own]
    gains = [model.gain(c) for c in (np.ones(len(rows)), fitted, left_out)]
    print_heading(["corner", "tracks", "nothing doubted", "fitted on all", "without the recording", "confidence"])
    corners = np.array([r["corner"] for r in rows])
    for corner in sorted(set(corners)) + ["all"]:
        at = corners == corner if corner != "all" else corners != ""
        print_row([corner, str(at.sum())]
                  + ["%.2f (%.1f, %d)" % (g[at].mean(), g[at].min(), (g[at] < HARM_DB).sum()) for g in gains]
                  + ["%.2f" % fitted[at].mean()])
    print()
    for limit in (0.8, 0.9, 0.95, 0.97):
        print("confidence from %.2f: %d tracks, %d of them worse; left out %d, %d" % (
            limit, (fitted >= limit).sum(), ((fitted >= limit) & (gains[1] < HARM_DB)).sum(), (left_out >= limit).sum(),
            ((left_out >= limit) & (gains[2] < HARM_DB)).sum()))
    print("\n" + ", ".join("%s %.2f" % pair for pair in zip(NAMES, weights)))
    for k in np.argsort(gains[2]):
        if min(gains[1][k], gains[2][k]) < HARM_DB:
            r = rows[k]
            print("%s/%s %s: %.1f, confidence %.2f; left out %.1f, %.2f; doubts %s" % (
                r["corner"], r["session"], r["track"], gains[1][k], fitted[k], gains[2][k], left_out[k],
                " ".join("%.1f" % d for d in r["doubts"][1:])))


if __name__ == "__main__":
    main()
