#!/usr/bin/python3
"""material.py SESSION... --out DIR [--only TEXT]

Makes sessions for corner cases of the separation from recorded ones whose truth is known. A SESSION is a folder with
session.json (sample_rate; per track: name, file, drum_type, hits as [sample, velocity, kind]), tracks/ and truth/.
The results have the same shape, float WAV, and go to DIR/CORNER/SESSION[.VARIANT]. The truth of every track stays
known: a track is own + leakage, and only own, leakage, time and rate change. In addition, a resulting session.json
may hold extra_tracks (Other and overhead tracks that belong to the Group but have no truth), and per track "drum":
"absent" (never plays) or "rare" (one hit), and "silent": true.

Corners that need a drum without its room (more drums, long pieces) are mixed from the truths alone: each drum reaches
every other microphone over its own path of delay, level and a dull diffuse tail of 0.15 s. Levels are in dB of the
leaking drum's power at its own microphone. All random values come from fixed seeds, so results repeat.
Needs numpy and soundfile.
"""
import argparse
import json
import os

import numpy as np
import soundfile as sf

LEAKS = [-60, -40, -30, -20, -10, 10, 20]  # dB, on everything but the own drum
RATES = [44100, 48000, 88200, 96000, 192000]


class Session:
    """Tracks of one length and rate: per track name, type, own signal, leakage and hits."""

    def __init__(self, name, rate, tracks):
        self.name, self.rate, self.tracks, self.extra = name, rate, tracks, []

    @property
    def length(self):
        return len(self.tracks[0]["own"])

    def copy(self, name):
        other = Session(name, self.rate, [dict(t, hits=[list(h) for h in t["hits"]]) for t in self.tracks])
        other.extra = [dict(e) for e in self.extra]
        return other

    def map(self, name, change):
        """A copy with change (own or leakage, track index) applied to every signal."""
        other = self.copy(name)
        for i, t in enumerate(other.tracks):
            t["own"], t["rest"] = change(t["own"], i), change(t["rest"], i)
        return other

    def without(self, name, names):
        other = self.copy(name)
        other.tracks = [t for t in other.tracks if t["name"] not in names]
        return other

    def of_type(self, *types):
        return [t for t in self.tracks if t["drum_type"] in types]


def load(folder):
    with open(os.path.join(folder, "session.json")) as f:
        info = json.load(f)
    tracks = []
    for t in info["tracks"]:
        x = sf.read(os.path.join(folder, "tracks", t["file"]))[0]
        own = sf.read(os.path.join(folder, "truth", t["file"]))[0]
        tracks.append({"name": t["name"], "drum_type": t["drum_type"], "own": own, "rest": x - own, "hits": t["hits"]})
    return Session(os.path.basename(os.path.normpath(folder)), info["sample_rate"], tracks)


def save(session, folder):
    for sub in ("tracks", "truth"):
        os.makedirs(os.path.join(folder, sub), exist_ok=True)
    info = {"name": session.name, "sample_rate": session.rate, "length": session.length, "tracks": [], "extra_tracks": []}

    def write(sub, name, x):
        sf.write(os.path.join(folder, sub, name + ".wav"), x.astype(np.float32), session.rate, subtype="FLOAT")

    for t in session.tracks:
        write("tracks", t["name"], t["own"] + t["rest"])
        write("truth", t["name"], t["own"])
        info["tracks"].append({k: v for k, v in t.items() if k not in ("own", "rest")} | {"file": t["name"] + ".wav"})
    for e in session.extra:
        write("tracks", e["name"], e["signal"])
        info["extra_tracks"].append({"name": e["name"], "drum_type": e["drum_type"], "file": e["name"] + ".wav"})
    with open(os.path.join(folder, "session.json"), "w") as f:
        json.dump(info, f)


def resampled(x, length):
    """The signal resampled to this many samples, by its spectrum."""
    spectrum = np.fft.rfft(x)
    bins = np.zeros(length // 2 + 1, complex)
    n = min(len(bins), len(spectrum))
    bins[:n] = spectrum[:n]
    return np.fft.irfft(bins, length) * (length / len(x))


def at_rate(session, rate, name=None):
    length = session.length * rate // session.rate
    other = session.map(name or session.name, lambda x, i: resampled(x, length))
    other.rate = rate
    for t in other.tracks:
        t["hits"] = [[h[0] * rate // session.rate] + h[1:] for h in t["hits"]]
    return other


def path(rate, level_db, random):
    """Impulse response of a drum into another drum's microphone."""
    n = int(0.16 * rate)
    t = np.arange(n) / rate
    tail = random.standard_normal(n) * np.exp(-t / 0.05)
    tail = np.convolve(tail, np.ones(8) / 8)[:n]  # duller than the direct sound
    tail *= 0.4 / np.sqrt(np.sum(tail ** 2))
    start = int(random.uniform(0.0015, 0.008) * rate)
    response = np.zeros(n)
    response[start] = 0.9
    response[start:] += tail[:n - start]
    return response * 10 ** (level_db / 20)


def convolved(x, response):
    n = 1 << int(len(x) + len(response) - 1).bit_length()
    return np.fft.irfft(np.fft.rfft(x, n) * np.fft.rfft(response, n), n)[:len(x)]


def mixed(name, rate, drums, level_db, seed=1):
    """A session made of drums (name, drum_type, own, hits): every microphone hears every other drum."""
    random = np.random.default_rng(seed)
    session = Session(name, rate, [])
    for i, drum in enumerate(drums):
        rest = 1e-5 * random.standard_normal(len(drum["own"])) * 10 ** (-0.1)
        for j, other in enumerate(drums):
            if i != j:
                rest += convolved(other["own"], path(rate, level_db + random.uniform(-5, 5), random))
        session.tracks.append(dict(drum, rest=rest))
    return session


def drum_of(session, track, name=None, roll=0, drum_type=None):
    """One drum alone, its performance rotated by roll samples."""
    t = next(t for t in session.tracks if t["name"] == track) if isinstance(track, str) else track
    n = session.length
    return {"name": name or t["name"], "drum_type": drum_type or t["drum_type"], "own": np.roll(t["own"], roll),
            "hits": sorted([[(h[0] + roll) % n] + h[1:] for h in t["hits"]])}


def faded(session, first, end):
    """1 between two times in seconds, 0 elsewhere, with edges of 5 ms."""
    n, edge = session.length, int(0.005 * session.rate)
    w = np.zeros(n)
    a, b = int(first * session.rate), min(n, int(end * session.rate))
    w[a:b] = 1.0
    w[a:a + edge] = np.linspace(0, 1, edge, endpoint=False)
    if b < n:
        w[b - edge:b] = np.linspace(1, 0, edge)
    return w


def keep_hits(track, window):
    track["hits"] = [h for h in track["hits"] if h[0] < len(window) and window[h[0]] > 0.9]


def repeated(session, name, seconds):
    n = int(seconds * session.rate)
    other = session.map(name, lambda x, i: np.resize(x, n))
    for t in other.tracks:
        t["hits"] = [[h[0] + k] + h[1:] for k in range(0, n, session.length) for h in t["hits"] if h[0] + k < n]
    return other


def sections(sessions, name, seconds, seed):
    """Eight drums in 20 s sections; in each a drum rests, plays softly or plays. Drums come late and leave."""
    a = sessions[0]
    random = np.random.default_rng(seed)
    drums = [drum_of(a, t) for t in a.tracks][:8]
    n = int(seconds * a.rate)
    for d in drums:
        own, hits = np.zeros(n), []
        for start in range(0, n, a.length):
            level = random.choice([0.0, 0.3, 1.0, 1.0])
            roll = int(random.integers(a.length))
            part = drum_of(a, d["name"], roll=roll)
            end = min(n, start + a.length)
            fade = faded(a, 0, a.length / a.rate)
            own[start:end] = level * (part["own"] * fade)[:end - start]
            hits += [[h[0] + start, h[1] * level] + h[2:] for h in part["hits"] if level > 0 and h[0] + start < end]
        d["own"], d["hits"] = own, hits
    return mixed(name, a.rate, drums, -22, seed)


def leakage_corners(session, first):
    for db in LEAKS:
        other = session.copy(session.name)
        for t in other.tracks:
            t["rest"] = t["rest"] * 10 ** (db / 20)
        yield "leakage %+d dB" % db, other
    other = session.copy(session.name)
    for t in other.tracks:
        t["rest"] = np.zeros(other.length)
    yield "no leakage", other

    random = np.random.default_rng(5)
    other = session.copy(session.name)
    for t in other.tracks:
        gain, leak = 10 ** (random.uniform(-20, 10) / 20), 10 ** (random.uniform(-12, 12) / 20)
        t["own"], t["rest"] = t["own"] * gain, t["rest"] * gain * leak
    yield "other levels", other


def membership_corners(session, first):
    toms = [t["name"] for t in session.of_type("tomHigh", "tomLow", "tomFloor")]
    other_names = {"kick": [t["name"] for t in session.of_type("kick")], "snare": [t["name"] for t in session.of_type("snare")],
                   "hi-hat": [t["name"] for t in session.of_type("hiHat")]}
    for drum, names in other_names.items():
        yield "missing microphone", session.without("%s.no-%s" % (session.name, drum), names)
    yield "missing microphone", session.without(session.name + ".no-tom", toms[:1])
    keep = other_names["kick"] + other_names["snare"]
    yield "few microphones", session.without(session.name + ".kick-snare", [t["name"] for t in session.tracks if t["name"] not in keep])
    if first:
        yield "one microphone", session.without(session.name + ".snare", [t["name"] for t in session.tracks if t["name"] != other_names["snare"][0]])

    for kind, drum_types in (("tom", ("tomHigh", "tomLow")), ("kick", ("kick",)), ("snare", ("snare",))):
        for amount in ("absent", "rare"):
            other = session.copy("%s.%s" % (session.name, kind))
            for t in other.of_type(*drum_types)[:1]:
                t["drum"] = amount
                first = t["hits"][0][0] / other.rate if t["hits"] else 0.0
                window = faded(other, max(0.0, first - 0.01), first + 0.5) if amount == "rare" else np.zeros(other.length)
                t["own"] = t["own"] * window
                keep_hits(t, window)
            yield ("a drum never plays" if amount == "absent" else "a drum plays once"), other

    other = session.copy(session.name)
    random = np.random.default_rng(3)
    for name, kind in (("OH L", "oh"), ("OH R", "oh"), ("Room", "other")):
        signal = sum(convolved(t["own"], path(other.rate, random.uniform(-14, -6), random)) for t in other.tracks)
        other.extra.append({"name": name, "drum_type": kind, "signal": signal})
    yield "Other and overheads", other


def silence_corners(session, first):
    lead = int(5 * session.rate)
    other = session.map(session.name, lambda x, i: np.concatenate([np.zeros(lead), x]))
    for t in other.tracks:
        t["hits"] = [[h[0] + lead] + h[1:] for h in t["hits"]]
    yield "silent lead-in", other

    gaps = faded(session, 0, 4) + faded(session, 7, 12) + faded(session, 15, 20)
    other = session.map(session.name, lambda x, i: x * gaps)
    for t in other.tracks:
        keep_hits(t, gaps)
    yield "silent gaps", other

    # The same without its silence: what an analysis would see that skips silent frames.
    kept = gaps > 0
    places = np.cumsum(kept) - 1
    cut = other.map(session.name, lambda x, i: x[kept])
    for t in cut.tracks:
        t["hits"] = [[int(places[h[0]])] + h[1:] for h in t["hits"]]
    yield "silent gaps cut out", cut

    random = np.random.default_rng(7)
    windows = []
    for _ in session.tracks:  # mute every track over its own stretches
        at = random.uniform(1, 13, 2)
        windows.append(1 - np.maximum(faded(session, at[0], at[0] + 3), faded(session, at[1], at[1] + 3)))
    other = session.map(session.name, lambda x, i: x * windows[i])
    for t, w in zip(other.tracks, windows):
        keep_hits(t, w)
    yield "tracks muted by turns", other

    k = len(session.tracks) - 1
    other = session.map(session.name, lambda x, i: x * 0 if i == k else x)
    other.tracks[k]["silent"] = True
    other.tracks[k]["hits"] = []
    yield "a silent track", other
    if not first:
        return
    other = session.map(session.name, lambda x, i: x * 0)
    for t in other.tracks:
        t["silent"], t["hits"] = True, []
    yield "all silent", other


def rate_corners(session, first):
    for rate in RATES:
        if rate != session.rate and (first or rate <= 48000):
            yield "%g kHz" % (rate / 1000), at_rate(session, rate)
    for seconds in (60, 61) if first else ():
        yield "%d s" % seconds, repeated(session, session.name, seconds)


def joint_corners(sessions):
    """Corners of drums from several sessions, at the rate of the first."""
    rate = sessions[0].rate
    all_at = [s if s.rate == rate else at_rate(s, rate) for s in sessions]
    n = min(s.length for s in all_at)
    for s in all_at:
        for t in s.tracks:
            t["own"] = t["own"][:n]
            t["rest"] = t["rest"][:n]
    for i, s in enumerate(all_at):
        guest = all_at[(i + 1) % len(all_at)]
        base = [drum_of(s, t) for t in s.tracks]
        for kind in ("snare", "kick"):
            drums = base + [drum_of(guest, guest.of_type(kind)[0], name="Guest " + kind)]
            yield "two " + kind + "s", mixed(s.name, rate, drums, -22, i)
        toms = s.of_type("tomHigh", "tomLow", "tomFloor")
        for level in (-15, -25):
            tom = toms[0]
            slower = resampled(tom["own"], int(n * 1.05))[:n]
            twin = {"name": "Twin Tom", "drum_type": "tomLow", "own": slower,
                    "hits": [[int(h[0] * 1.05)] + h[1:] for h in tom["hits"] if h[0] * 1.05 < n - 1000]}
            twin = drum_of(Session("", rate, [twin]), "Twin Tom", roll=rate // 2)
            near = [d for d in base if d["drum_type"] in ("kick", "snare", "hiHat")] + [drum_of(s, tom), twin]
            yield "two like toms", mixed("%s.%d" % (s.name, level), rate, near, level, i)
    many = [drum_of(s, t, name="%d %s" % (k + 1, t["name"])) for k, s in enumerate(all_at) for t in s.tracks]
    for count in (12, 20):
        drums = list(many[:count])
        while len(drums) < count:
            source = many[len(drums) - len(many)]
            drums.append(dict(drum_of(Session("", rate, [source]), source["name"], roll=7 * rate), name="%d more" % len(drums)))
        yield "%d tracks" % count, mixed("%d" % count, rate, drums, -26, count)
    yield "5 minutes in sections", sections(all_at, all_at[0].name, 300, 2)


def corners(sessions):
    for session in sessions:
        yield "as recorded", session
        for make in (leakage_corners, membership_corners, silence_corners, rate_corners):
            yield from make(session, session is sessions[0])
    yield from joint_corners([s.copy(s.name) for s in sessions])


def main():
    parser = argparse.ArgumentParser(usage=__doc__)
    parser.add_argument("sessions", nargs="+")
    parser.add_argument("--out", required=True)
    parser.add_argument("--only", default="", help="corners whose name holds this")
    args = parser.parse_args()
    for corner, session in corners([load(s) for s in args.sessions]):
        if args.only in corner:
            save(session, os.path.join(args.out, corner, session.name))
            print(os.path.join(args.out, corner, session.name))


if __name__ == "__main__":
    main()
