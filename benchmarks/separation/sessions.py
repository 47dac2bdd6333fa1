"""Sessions of drum recordings whose truth is known, and the tools to make others from them.

A session is a folder with session.json (sample_rate; per track: name, file, drum_type, hits as [sample, velocity,
kind]), tracks/ and truth/. A track is own + rest: what its own drum gives in it, and everything else.
"""
import json
import os

import numpy as np
import soundfile as sf


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


def path(rate, level_db, random, decay=0.05, delay=None):
    """Impulse response of a drum into another drum's microphone; decay of its tail and delay in seconds."""
    n = int(3.2 * decay * rate)
    t = np.arange(n) / rate
    tail = random.standard_normal(n) * np.exp(-t / decay)
    tail = np.convolve(tail, np.ones(8) / 8)[:n]  # duller than the direct sound
    tail *= 0.4 / np.sqrt(np.sum(tail ** 2))
    start = int((random.uniform(0.0015, 0.008) if delay is None else delay) * rate)
    response = np.zeros(n)
    response[start] = 0.9
    response[start:] += tail[:n - start]
    return response * 10 ** (level_db / 20)


def coloured(rate, delay, random):
    """Impulse response from one microphone's place to another on the same drum: a delay in seconds, a colouring of
    8 dB either way with its minimum phase, and a faint tail of 10 ms."""
    n = 1 << int(0.1 * rate).bit_length()
    f = np.fft.rfftfreq(n, 1 / rate)
    nodes = np.geomspace(40, 16000, 7)
    level = np.interp(np.log(np.maximum(f, 1)), np.log(nodes), random.uniform(-8, 8, len(nodes))) * np.log(10) / 20
    cepstrum = np.fft.irfft(level, n)
    cepstrum[1:n // 2] *= 2
    cepstrum[n // 2 + 1:] = 0
    response = np.fft.irfft(np.exp(np.fft.rfft(cepstrum)) * np.exp(-2j * np.pi * f * delay), n)
    tail = random.standard_normal(n) * np.exp(-np.arange(n) / (0.01 * rate))
    tail[:int(delay * rate)] = 0
    return response + tail * 0.1 * np.sqrt(np.sum(response ** 2) / np.sum(tail ** 2))


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


def mark_by_hits(session):
    """Says of a drum without hits that it is absent, and takes away what still rings, and of one with a single hit
    that it is rare."""
    for t in session.tracks:
        if not t["hits"]:
            t["drum"], t["own"] = "absent", np.zeros(session.length)
        elif len(t["hits"]) == 1:
            t["drum"] = "rare"
    return session


def piece(session, name, first, end):
    """The stretch between two times in seconds."""
    a, b = int(first * session.rate), int(end * session.rate)
    other = session.map(name, lambda x, i: x[a:b])
    for t in other.tracks:
        t["hits"] = [[h[0] - a] + h[1:] for h in t["hits"] if a <= h[0] < b]
    return mark_by_hits(other)


def with_leakage(session, db, name=None):
    other = session.copy(name or session.name)
    for t in other.tracks:
        t["rest"] = t["rest"] * 10 ** (db / 20)
    return other


def retimed(session, track, places, random):
    """One drum with its hits at these samples: drawn from those that have at least a quarter of a second to
    themselves, each with up to two seconds of its ring."""
    rate, lead = session.rate, int(0.005 * session.rate)
    at = [h[0] for h in track["hits"]] + [session.length]
    room = [b - a for a, b in zip(at, at[1:])]
    usable = [i for i in range(len(room)) if room[i] > 0.25 * rate and at[i] > lead] or [int(np.argmax(room))]
    own, hits = np.zeros(session.length + 2 * rate), []
    for place in places:
        i = usable[random.integers(len(usable))]
        start = max(0, at[i] - lead)
        sound = track["own"][start:start + min(room[i], 2 * rate)].copy()
        sound[:lead] *= np.linspace(0, 1, lead)
        sound[-6 * lead:] *= np.linspace(1, 0, 6 * lead)
        own[place - lead:place - lead + len(sound)] += sound
        hits.append([int(place)] + track["hits"][i][1:])
    return {"name": track["name"], "drum_type": track["drum_type"], "own": own[:session.length], "hits": hits}


def second_microphone(session, track, name, drum_type, random):
    """Another microphone on the drum of a track: 0.3 to 2 ms off, with its own colouring, of the leakage too."""
    delay = random.uniform(0.0003, 0.002)
    own = convolved(track["own"], coloured(session.rate, delay, random))
    rest = convolved(track["rest"], coloured(session.rate, random.uniform(0.0, 0.002), random))
    shift = int(delay * session.rate)
    hits = [[h[0] + shift] + h[1:] for h in track["hits"] if h[0] + shift < session.length]
    return dict(track, name=name, drum_type=drum_type, own=own, rest=rest * 10 ** (random.uniform(-3, 3) / 20), hits=hits)


def cymbals(rate, length, random):
    """A crash every few seconds and a ride in eighths, made of decaying partials; of power 1."""
    def strike(lowest, partials, decay):
        t = np.arange(int(3 * decay * rate)) / rate
        sound = np.zeros(len(t))
        for f in np.exp(random.uniform(np.log(lowest), np.log(14000), partials)):
            fall = decay * (lowest / f) ** 0.4
            sound += random.uniform(0.2, 1) * np.sin(2 * np.pi * (f * t + random.random())) * np.exp(-t / fall)
        return sound * (1 - np.exp(-t / 0.001)) / partials ** 0.5

    crash, ride = strike(300, 300, 1.5), strike(450, 150, 0.7)
    x = np.zeros(length + len(crash))
    for at in np.arange(0.6, length / rate, 4.3):
        x[int(at * rate):][:len(crash)] += crash * random.uniform(0.6, 1)
    for at in np.arange(0.0, length / rate, 0.31):
        x[int(at * rate):][:len(ride)] += ride * random.uniform(0.15, 0.4)
    x = x[:length]
    return x / np.sqrt(np.mean(x ** 2))


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
