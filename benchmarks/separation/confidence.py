#!/usr/bin/python3
"""confidence.py --program PROGRAM --evaluate EVALUATE.PY --cache DIR [--only TEXT] [--jobs N] MATERIAL

Fits how far the refined method may be believed, by what corners.py measured (or measures now: the arguments are the
same, and so is the cache). The layers of a track take place as far as its confidence says, a logistic model of doubts
(engine/refinement/TrackBenefit.cpp); what a track would gain at any other confidence follows by straight mixing. The
weights are those with the greatest mean gain, where a loss counts forty times, and are then raised by MARGIN, for
kits unlike these. Prints the gain by corner with nothing doubted, as the program does it, with weights fitted on
everything, and with those fitted without the recording that a session was made of, mean (worst, number below -0.5 dB);
then how many tracks would be sure, the weights of each fit, and the tracks that lose.
"""
import argparse
import os

import numpy as np
import scipy.optimize

from corners import HARM_DB, Runner
from tables import print_heading, print_row

NAMES = ["certain", "together", "hidden", "mistaken"]
SKIPPED = ("88.2 kHz", "96 kHz", "192 kHz", "60 s", "61 s", "5 minutes", "12 tracks", "20 tracks", "no leakage")
SPARED = ("second microphone on one drum", "wrong types", "leakage +20 dB")  # extreme: count a third
LOSS_WEIGHT, KNEE_DB, RIDGE, BEYOND_DOUBT, MARGIN = 40.0, -0.2, 0.01, 0.95, 1.5
STEPS = 200  # of the confidence, between which gains are interpolated


def doubts(told):
    """The doubts of a track, as confidenceOf() has them."""
    e = told["evidence"]
    matches, leakage, agreement = e["matchDb"], min(told["leakageDb"], 5.0), e["subtractionAgreement"]
    short = lambda limit, value, step: max(0.0, limit - value) / step
    subtracted = e["subtractedDb"] > -99.0
    foreign = short(0.85, agreement * 10 ** (-e["subtractedDb"] / 20) if subtracted else 1.0, 0.1)
    no_better = short(3, max(max(matches[1:]) - matches[0], -12.0), 3)
    discord = short(0.72, agreement, 0.1) * short(-leakage - 1, matches[0], 2)
    return [foreign * (no_better + 0.1 * short(0.7, e["outputAgreement"], 0.2)), min(1.5, short(4, told["hits"], 1) * discord),
            short(0.6, agreement, 0.1) * (short(8, -leakage, 4) + (0.3 * no_better if subtracted else 0.0))]


def products(row):
    """Products of truth, source x and whole layers y: of (own, own), (x, own), (y, own), (x, x), (x, y), (y, y)."""
    x_own, _, x_x, own_own = row["products"][""]
    out_own, x_out, out_out, _ = row["products"]["5"]
    c = row["confidence"]
    return [own_own, x_own, x_own + (out_own - x_own) / c, x_x, x_x + (x_out - x_x) / c,
            x_x + 2 * (x_out - x_x) / c + (out_out - 2 * x_out + x_x) / c ** 2]


def si_sdr(p, confidence):
    own, xs, ys, xx, xy, yy = p.T
    s = (1 - confidence) * xs + confidence * ys
    energy = (1 - confidence) ** 2 * xx + 2 * confidence * (1 - confidence) * xy + confidence ** 2 * yy
    signal = s * s / own
    return 10 * np.log10(np.maximum(signal, 1e-20) / np.maximum(energy - signal, 1e-9 * signal + 1e-12))


class Model:
    def __init__(self, rows):
        self.x = np.array([doubts(r) for r in rows])
        p = np.array([products(r) for r in rows])
        before = si_sdr(p, 0.0)
        self.gains = np.array([np.maximum(si_sdr(p, k / STEPS) - before, -60) for k in range(STEPS + 1)])
        harm = 0.3 * np.logaddexp(0, (KNEE_DB - np.maximum(self.gains, -25)) / 0.3)
        self.losses = LOSS_WEIGHT * harm - np.clip(self.gains, -25, 25)
        corners = [r["corner"] for r in rows]
        self.weight = np.array([(0.3 if c in SPARED else 1.0) / np.sqrt(corners.count(c)) for c in corners])

    def confidence(self, w, chosen=slice(None)):
        believed = 1 / (1 + np.exp(np.minimum(7, self.x[chosen] @ w[1:] - w[0])))
        return np.minimum(1, believed / BEYOND_DOUBT)

    def at(self, table, confidence):
        """The value of each track at its confidence, and its slope there."""
        step = np.minimum(STEPS - 1, (confidence * STEPS).astype(int))
        tracks = np.arange(len(confidence))
        slope = (table[step + 1, tracks] - table[step, tracks]) * STEPS
        return table[step, tracks] + slope * (confidence - step / STEPS), slope

    def gain(self, confidence):
        return self.at(self.gains, confidence)[0]

    def fit(self, chosen):
        losses, weight = self.losses[:, chosen], self.weight[chosen] / self.weight[chosen].sum()

        def loss(w):
            c = self.confidence(w, chosen)
            value, slope = self.at(losses, c)
            by_logit = weight * slope * np.where(c < 1, c * (1 - BEYOND_DOUBT * c), 0)
            gradient = np.concatenate([[by_logit.sum()], 2 * RIDGE * w[1:] - self.x[chosen].T @ by_logit])
            return weight @ value + RIDGE * w[1:] @ w[1:], gradient

        tries = [scipy.optimize.minimize(loss, np.array([4.0] + [start] * (len(NAMES) - 1)), jac=True, method="L-BFGS-B",
                                         bounds=[(0, 8)] + [(0, 6)] * (len(NAMES) - 1)) for start in (0.3, 0.8)]
        best = min(tries, key=lambda t: t.fun).x
        return best * np.array([1.0] + [MARGIN] * (len(NAMES) - 1))


def measured(args):
    runner = Runner(args)
    for corner in sorted(os.listdir(args.material)):
        if corner.startswith(SKIPPED) or args.only not in corner:
            continue
        for name in sorted(os.listdir(os.path.join(args.material, corner))):
            for track, row in runner.result(os.path.join(args.material, corner, name), "refined").items():
                if row["sounds"] and row["confidence"]:
                    yield row | {"corner": corner, "session": name, "recording": name.split(".")[0], "track": track}


def main():
    parser = argparse.ArgumentParser(usage=__doc__)
    parser.add_argument("material")
    parser.add_argument("--program", required=True)
    parser.add_argument("--evaluate", required=True)
    parser.add_argument("--cache", required=True)
    parser.add_argument("--only", default="")
    parser.add_argument("--jobs", type=int, default=1)
    args = parser.parse_args()
    rows = list(measured(args))
    model = Model(rows)
    fits = {"all": model.fit(np.ones(len(rows), bool))}
    recordings = np.array([r["recording"] for r in rows])
    left_out = np.zeros(len(rows))
    for recording in sorted(set(recordings)):
        own = recordings == recording
        fits["without " + recording] = model.fit(~own)
        left_out[own] = model.confidence(fits["without " + recording])[own]
    believed = {"nothing doubted": np.ones(len(rows)), "as it is": np.array([r["confidence"] for r in rows]),
                "fitted on all": model.confidence(fits["all"]), "without the recording": left_out}
    gains = {name: model.gain(c) for name, c in believed.items()}
    print_heading(["corner", "tracks", *gains])
    corners = np.array([r["corner"] for r in rows])
    for corner in sorted(set(corners)) + ["all"]:
        at = corners == corner if corner != "all" else corners != ""
        print_row([corner, str(at.sum())] + ["%.2f (%.1f, %d)" % (g[at].mean(), g[at].min(), (g[at] < HARM_DB).sum())
                                             for g in gains.values()])
    print()
    for name, c in believed.items():
        print("%s: %d of %d tracks with a confidence from 0.97 lose" % (name, ((c >= 0.97) & (gains[name] < HARM_DB)).sum(),
                                                                       (c >= 0.97).sum()))
    for name, weights in fits.items():
        print("%s: %s" % (name, ", ".join("%s %.2f" % pair for pair in zip(NAMES, weights))))
    for k in np.argsort(gains["without the recording"]):
        if min(g[k] for name, g in gains.items() if name != "nothing doubted") < HARM_DB:
            print("%s/%s %s: %s" % (rows[k]["corner"], rows[k]["session"], rows[k]["track"], ", ".join(
                "%s %.1f at %.2f" % (name, gains[name][k], c[k]) for name, c in believed.items())))


if __name__ == "__main__":
    main()
