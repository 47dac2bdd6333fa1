#!/usr/bin/python3
"""refit.py --program PROGRAM --cache DIR [--json FILE] SESSION...

Fits the nine coefficients of the refined method's logistic model again, leaving out one session at a time, and
prints what the left-out sessions gain with the standing coefficients and with the fitted ones. A SESSION is a folder
such as material.py makes or starts from; everything from one recording (its name up to the first dot) is left out
together.

Interference model, evidence and layers are computed here in numpy from the component signals that PROGRAM
(tessivar-cli) writes, as a second, independent implementation; DIR caches what they need. The target of a bin is
the own share of its energy, |own|^2 / (|own|^2 + |leakage|^2); bins are drawn with a probability that follows their
magnitude, so that loud and soft ones both count. Prints Markdown. Needs numpy and soundfile.
"""
import argparse
import json
import os
import subprocess
import tempfile

import numpy as np
import soundfile as sf

STANDING = np.array([-2.203, 0.396, 0.427, 0.228, -0.410, -0.421, -0.132, 0.433, 0.680])
MASK_EXPONENT, LAYER_EXPONENT = 0.35, 0.5
RISE_FRAMES, STEADY = 3, 1.5  # frames; rises below this factor count as fluctuations of a steady sound
SAMPLES = 8000  # bins per track


def si_sdr(x, s):
    p = (float(x @ s) / (float(s @ s) + 1e-20)) * s
    d = x - p
    return 10 * np.log10((float(p @ p) + 1e-20) / (float(d @ d) + 1e-20))


class Transform:
    """Frames of twice the analysis' length with a sine window and a hop of a quarter."""

    def __init__(self, rate, length):
        self.n = 2048 if rate < 50000 else 4096 if rate < 100000 else 8192
        self.hop, self.length = self.n // 4, length
        self.frames = length // self.hop + 9
        self.window = np.sin(np.pi * (np.arange(self.n) + 0.5) / self.n).astype(np.float32)

    def forward(self, x):
        padded = np.zeros(self.frames * self.hop + 2 * self.n, np.float32)
        padded[self.n:self.n + len(x)] = x
        frames = np.lib.stride_tricks.sliding_window_view(padded, self.n)[::self.hop][:self.frames]
        return np.fft.rfft(frames * self.window, axis=1).astype(np.complex64).T

    def inverse(self, spectrum):
        frames = np.fft.irfft(spectrum.T, self.n, axis=1).astype(np.float32) * self.window * 0.5
        out = np.zeros(self.frames * self.hop + 2 * self.n, np.float32)
        for k in range(4):
            part = frames[k::4]
            out[k * self.hop:k * self.hop + part.size] += part.reshape(-1)
        return out[self.n:self.n + self.length]


def smoothed(power):
    edges = np.concatenate([power[:, :1], power, power[:, -1:]], 1)
    return (edges[:, :-2] + edges[:, 1:-1] + edges[:, 2:]) / 3


def same_drum(a, b):
    return a == b and a in ("kick", "snare")


def bounded_gains(v, types):
    """Upper bounds of the gains, bins x microphones x drums, from the frames where the drum is loudest: the 20 %
    quantile of the ratio of powers, and twice the median ratio of rises at the onsets among them."""
    bins, tracks, frames = v.shape
    loud = min(frames, max(8, frames // 50))
    bound = np.zeros((bins, tracks, tracks), np.float32)
    for j in range(tracks):
        at = np.argpartition(-v[:, j], loud - 1, axis=1)[:, :loud]
        before = np.maximum(at - RISE_FRAMES, 0)
        own = np.take_along_axis(v[:, j], at, 1)
        rise = np.where(at < RISE_FRAMES, 0, own - np.take_along_axis(v[:, j], before, 1))
        onsets = np.argsort(-rise, axis=1, kind="stable")[:, :(loud + 1) // 2]
        rise = np.take_along_axis(rise, onsets, 1)
        rises = rise > 0
        for i in range(tracks):
            if i == j or same_drum(types[i], types[j]):
                continue
            other = np.take_along_axis(v[:, i], at, 1)
            level = np.quantile(other / np.maximum(own, 1e-20), 0.2, axis=1)
            change = np.maximum(other - STEADY * np.take_along_axis(v[:, i], before, 1), 0)
            ratio = np.where(rises, np.take_along_axis(change, onsets, 1) / np.maximum(rise, 1e-20), np.nan)
            ratio[~rises.any(1)] = np.inf
            bound[:, i, j] = np.minimum(0.5, np.minimum(level, 2 * np.nanmedian(ratio, axis=1)))
    return bound


def fitted_powers(v, p, types):
    """Own power and leakage, bins x tracks x frames, by five updates."""
    tracks = v.shape[1]
    bound = bounded_gains(v, types)
    lift = (1e-7 * v.mean(2) + 1e-20)[:, :, None]
    v, p = v + lift, np.maximum(p, 0.001 * lift)
    eye = np.eye(tracks, dtype=np.float32)
    gains = np.array([[0.0 if same_drum(a, b) else 0.05 for b in types] for a in types], np.float32) * (1 - eye) + eye
    gains = np.repeat(gains[None], v.shape[0], 0)
    for _ in range(5):
        r = 1 / (gains @ p)
        w, pt = v * r * r, p.transpose(0, 2, 1)
        gains = np.minimum(bound, gains * np.sqrt((w @ pt) / np.maximum(r @ pt, 1e-30))) * (1 - eye) + eye
        r = 1 / (gains @ p)
        w, gt = v * r * r, gains.transpose(0, 2, 1)
        p = np.maximum(0.001 * lift, p * np.sqrt((gt @ w) / (gt @ r)))
    return p, np.maximum(gains @ p - p, 1e-30)


def held(z, decay):
    out = np.maximum(z, np.append(z[1:], z[-1]))
    for t in range(1, len(out)):
        out[t] = max(out[t], out[t - 1] - decay)
    return out


def evidence(own, leakage, power, rate, transform):
    """Eight pieces of evidence of one track, each bins x frames."""
    bins, frames = own.shape
    hertz = np.arange(bins) * rate / transform.n
    band = np.where(hertz < 60, 0, 1 + np.floor(3 * np.log2(np.maximum(hertz, 1e-9) / 60))).astype(int)
    starts = np.concatenate([[0], np.nonzero(np.diff(band))[0] + 1])
    sizes = np.diff(np.append(starts, bins))
    p, q, v = (np.add.reduceat(x.astype(np.float64), starts, axis=0) for x in (own, leakage, power))
    loud = max(4, frames // 50)
    top = lambda x: np.maximum(np.sort(x, axis=-1)[..., -loud:].mean(-1), 1e-30)
    log = lambda x: np.log(np.maximum(x, 1e-30))
    reference, broad = top(v)[:, None], p.sum(0)
    balance = log((p / reference).sum(0)) - log((q / reference).sum(0))
    level = np.log(broad / top(broad) + 1e-12)
    decay = transform.hop / rate / 0.030
    rows = [np.log(own / leakage), np.repeat(log(p) - log(q), sizes, 0), log(broad) - log(q.sum(0)), balance,
            np.repeat(np.log(v / reference + 1e-12), sizes, 0), level, held(balance, decay), held(level, decay)]
    return np.stack([np.broadcast_to(np.clip(r, -12, 12), (bins, frames)).astype(np.float32) for r in rows])


def mask_of(rows, weights):
    z = weights[0] + np.tensordot(weights[1:].astype(np.float32), rows, 1)
    return 1 / (1 + np.exp(-np.clip(z, -60, 60)))


class Case:
    """One session: signals, spectra and evidence of every track that is rendered."""

    def __init__(self, folder, program, cache):
        with open(os.path.join(folder, "session.json")) as f:
            info = json.load(f)
        self.name, self.rate = info["name"], info["sample_rate"]
        self.tracks = info["tracks"] + info.get("extra_tracks", [])
        self.types = [t["drum_type"] for t in self.tracks]
        self.base = self.name.split(".")[0]
        self.signals = self.load(folder, program, cache)
        self.transform = Transform(self.rate, len(self.signals["x0"]))
        self.rendered = [i for i in range(len(self.tracks)) if "y%d_1" % i in self.signals]

    def load(self, folder, program, cache):
        os.makedirs(cache, exist_ok=True)
        kept = os.path.join(cache, os.path.abspath(folder).strip("/").replace("/", "_") + ".npz")
        if not os.path.exists(kept):
            np.savez(kept, **self.compute(folder, program))
        with np.load(kept) as z:
            return {k: z[k] for k in z.files}

    def compute(self, folder, program):
        signals = {}
        with tempfile.TemporaryDirectory() as temp:
            command = [program, "process", "--out", temp, "--quiet", "--method", "refined", "--components", "--temp", temp]
            for t in self.tracks:
                command += ["--type", t["name"] + "=" + t["drum_type"]]
            command += [os.path.join(folder, "tracks", t["file"]) for t in self.tracks]
            subprocess.run(command, check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
            for i, t in enumerate(self.tracks):
                signals["x%d" % i] = sf.read(os.path.join(folder, "tracks", t["file"]), dtype="float32")[0]
                truth = os.path.join(folder, "truth", t["file"])
                if os.path.exists(truth):
                    signals["s%d" % i] = sf.read(truth, dtype="float32")[0]
                files = [os.path.join(temp, "%s_Component%02d.wav" % (t["name"], k)) for k in range(1, 6)]
                if os.path.exists(files[0]):
                    parts = np.array([sf.read(f, dtype="float32")[0] for f in files])
                    for focus in range(1, 6):
                        signals["y%d_%d" % (i, focus)] = parts[:6 - focus].sum(0)
        return signals

    def prepare(self):
        """Spectra and evidence: large, so kept only while needed."""
        s, count = self.signals, len(self.tracks)
        self.spectra = [self.transform.forward(s["x%d" % i]) for i in range(count)]
        v = np.stack([smoothed(np.abs(x) ** 2) for x in self.spectra], 1)
        p = v.copy()
        for i in self.rendered:
            p[:, i] = smoothed(np.abs(self.transform.forward(s["y%d_4" % i])) ** 2) + 0.001 * v[:, i]
        own, leakage = fitted_powers(v, p, self.types)
        self.power = v
        self.rows = {i: evidence(own[:, i], leakage[:, i], v[:, i], self.rate, self.transform) for i in self.rendered}

    def release(self):
        self.spectra = self.power = self.rows = None

    def samples(self, random):
        """Evidence and target of drawn bins, over all tracks whose truth is audible."""
        x, y = [], []
        for i in self.rendered:
            own = self.signals["s%d" % i]
            if not own.any():
                continue
            truth = np.abs(self.transform.forward(own)) ** 2
            rest = np.abs(self.transform.forward(self.signals["x%d" % i] - own)) ** 2
            chance = np.sqrt(self.power[:, i]).reshape(-1).astype(np.float64)
            at = random.choice(len(chance), SAMPLES, p=chance / chance.sum())
            x.append(self.rows[i].reshape(8, -1)[:, at].T)
            y.append((truth / (truth + rest + 1e-20)).reshape(-1)[at])
        return np.concatenate(x), np.concatenate(y)

    def gains(self, weights):
        """Gain of every track at Focus 5, dB."""
        out = []
        for i in self.rendered:
            own, track = self.signals["s%d" % i], self.signals["x%d" % i]
            if not own.any():
                continue
            mask = mask_of(self.rows[i], weights)
            masked = self.transform.inverse(self.spectra[i] * mask)
            choices = [track] + [self.signals["y%d_%d" % (i, f)] for f in range(1, 6)]
            best = int(np.argmax([si_sdr(c, masked) for c in choices]))
            layer = mask
            if best > 0:
                power = smoothed(np.abs(self.transform.forward(choices[best])) ** 2)
                layer = np.minimum(1, np.sqrt(power / (self.power[:, i] + 1e-20)))
            y = self.transform.inverse(self.spectra[i] * (mask ** MASK_EXPONENT * layer ** LAYER_EXPONENT))
            out.append(si_sdr(y, own) - si_sdr(track, own))
        return out


def fit(parts):
    """Logistic regression with soft targets by Newton's method; every session counts the same."""
    x = np.concatenate([p[0] for p in parts]).astype(np.float64)
    x = np.concatenate([np.ones((len(x), 1)), x], 1)
    y = np.concatenate([p[1] for p in parts]).astype(np.float64)
    w = np.concatenate([np.full(len(p[1]), 1.0 / len(p[1])) for p in parts])
    def loss(b):
        z = np.clip(x @ b, -500, 500)
        return float(w @ (np.logaddexp(0, z) - y * z))

    b = STANDING.copy()
    for _ in range(25):
        m = 1 / (1 + np.exp(-np.clip(x @ b, -30, 30)))
        slope = x.T @ (w * (m - y))
        curve = (x * (w * m * (1 - m))[:, None]).T @ x + 1e-6 * np.eye(9)
        step, before = np.linalg.solve(curve, slope), loss(b)
        scale = 1.0
        while scale > 1e-4 and loss(b - scale * step) > before:
            scale /= 2
        if scale <= 1e-4:
            break
        b = b - scale * step
    return b


def main():
    parser = argparse.ArgumentParser(usage=__doc__)
    parser.add_argument("sessions", nargs="+")
    parser.add_argument("--program", required=True)
    parser.add_argument("--cache", required=True)
    parser.add_argument("--json")
    args = parser.parse_args()
    random = np.random.default_rng(1)
    cases = [Case(s, args.program, args.cache) for s in args.sessions]
    drawn = []
    for case in cases:
        case.prepare()
        drawn.append(case.samples(random))
        case.release()
    bases = sorted({c.base for c in cases})
    without = {b: fit([d for c, d in zip(cases, drawn) if c.base != b]) for b in bases}
    everything = fit(drawn)
    print("| session | standing, mean (worst) | fitted without it | fitted on all |\n| --- | --- | --- | --- |")
    told, cell = [], lambda g: "%.2f (%.1f)" % (np.mean(g), np.min(g))
    for folder, case in zip(args.sessions, cases):
        case.prepare()
        gains = [case.gains(b) for b in (STANDING, without[case.base], everything)]
        case.release()
        told.append(gains)
        print("| %s | %s |" % ("/".join(os.path.normpath(folder).split("/")[-2:]), " | ".join(cell(g) for g in gains)), flush=True)
    print("| all | %s |" % " | ".join(cell(np.concatenate([t[k] for t in told])) for k in range(3)))
    for name, b in [("without " + b, without[b]) for b in bases] + [("all", everything)]:
        print("\n%s: %s" % (name, " ".join("%.3f" % x for x in b)))
    if args.json:
        with open(args.json, "w") as f:
            json.dump({"all": everything.tolist(), **{b: w.tolist() for b, w in without.items()}}, f)


if __name__ == "__main__":
    main()
