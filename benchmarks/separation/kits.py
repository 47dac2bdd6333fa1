#!/usr/bin/python3
"""kits.py --out DIR [--only TEXT]

Makes sessions of sampled drum kits for corners.py: DIR/sampled kits/KIT and, with 8 dB less leakage,
DIR/sampled kits, leakage -8 dB/KIT. No rule and no coefficient of the separation was fitted on them.

The samples are those of Debian's packages hydrogen-drumkits and avldrums.lv2-soundfont, where they must be installed;
they are read, never copied. A pattern is played on a kit that stands in a room of four sizes. A microphone of cardioid
pick-up is 8 to 20 cm from its drum; it hears each drum over its own path: distance (delay and level), six reflections,
a diffuse tail, duller sound off the axis, a colouring of its own, all a little other from stroke to stroke. Snare wires
buzz with kick and toms. Crash and ride have no microphone. All random values come from fixed seeds. Needs numpy and
soundfile.
"""
import argparse
import os
import re
import struct
import xml.etree.ElementTree as ElementTree

import numpy as np
import soundfile as sf

from sessions import Session, resampled, save, with_leakage

RATE, SECONDS = 44100, 24.0
SPEED_OF_SOUND = 343.0
LESS_LEAKAGE_DB = -8

# The instruments of a kit, by the beginning of their names.
KITS = {
    "BJA_Pacific": {"kick": "BassDrum", "snare": "Snare", "hat": "Hi Hat Closed", "open": "Hi Hat Opened", "tom 1": "Tom",
                    "floor": "Floor Tom", "crash": "Crash Left", "ride": "Ride 2"},
    "ColomboAcousticDrumkit": {"kick": "BassDrum", "snare": "Snare Rock", "hat": "Closed HH", "open": "Open HH",
                               "tom 1": "tomhi2", "tom 2": "Tom Mid", "floor": "Tom Low", "crash": "crash16",
                               "ride": "ride-crash"},
    "ForzeeStereo": {"kick": "Kick", "snare": "Snare (", "hat": "Hi-Hat Closed", "open": "Hi-Hat Open", "tom 1": "Tom High",
                     "tom 2": "Tom Mid", "floor": "Tom Low", "crash": "Crash (", "ride": "Ride ("},
    "Millo-Drums_v.1": {"kick": "Kick", "snare": "Snare Jazz", "hat": "Closed HH", "open": "Open HH", "tom 1": "Tom Hi",
                        "tom 2": "Tom Mid", "floor": "Tom Low", "crash": "Crash", "ride": "Ride Jazz"},
    "Millo_MultiLayered2": {"kick": "Kick", "snare": "Snare Rock", "hat": "Closed HH", "open": "Open HH", "tom 1": "Tom Hi",
                            "tom 2": "Tom Mid", "floor": "Tom Low", "crash": "Crash", "ride": "Ride Rock"},
    "The Black Pearl 1.0": {"kick": "Pearl Kick", "snare": "Pearl Snare", "hat": "Sabian Hat Closed",
                            "open": "Sabian Hat Open", "tom 1": "Pearl Tom 1", "tom 2": "Pearl Tom 2",
                            "floor": "Pearl Tom Floor", "crash": "Sabian Crash", "ride": "Paiste Ride"},
    "rumpf_kit_z01_h2": {"kick": "c3 - bass drum 1", "snare": "d3 - snare 1", "hat": "f#3 - hi-hat closed",
                         "open": "a#3 - hi-hat open", "tom 1": "d4 - high tom", "tom 2": "c4 - middle tom",
                         "floor": "b3 - low tom", "crash": "c#4 - crash", "ride": "d#4 - cymbal"},
    "Red_Zeppelin_4_LV2": {"kick": "36-", "snare": "38-", "hat": "42-", "open": "46-", "tom 1": "45-", "floor": "41-",
                           "crash": "49-", "ride": "51-"},
}
STYLES = ["rock", "funk", "ballad", "swing", "toms", "fast"]
ROOMS = [  # size in m, absorption, seconds to -60 dB, level of the diffuse tail
    ((5.2, 4.3, 2.7), 0.45, 0.35, 0.35), ((7, 6, 3.2), 0.3, 0.6, 0.5), ((4, 3.5, 2.4), 0.7, 0.18, 0.2),
    ((9, 8, 4), 0.25, 0.9, 0.6)]

# Metres from the middle of the floor; microphones from their drum.
PLACES = {"kick": (0, 0.45, 0.3), "snare": (-0.3, 0, 0.68), "hat": (-0.72, 0.15, 0.92), "tom 1": (-0.22, 0.5, 0.88),
          "tom 2": (0.22, 0.5, 0.86), "floor": (0.58, -0.02, 0.6), "crash": (-0.55, 0.75, 1.25), "ride": (0.7, 0.45, 1.05)}
MICROPHONES = {"kick": (0, 0.22, 0.05), "snare": (-0.06, -0.1, 0.09), "hat": (-0.08, -0.05, 0.12), "tom 1": (0, 0.1, 0.09),
               "tom 2": (0.02, 0.1, 0.09), "floor": (0.1, 0.02, 0.1)}
TRACKS = {"kick": ("Kick", "kick"), "snare": ("Snare", "snare"), "hat": ("Hat", "hiHat"), "tom 1": ("Tom 1", "tomHigh"),
          "tom 2": ("Tom 2", "tomLow"), "floor": ("Floor Tom", "tomFloor")}
PEAKS = {"kick": 1.0, "snare": 1.0, "hat": 0.35, "open": 0.4, "tom 1": 0.9, "tom 2": 0.9, "floor": 0.9, "crash": 0.55,
         "ride": 0.3}
VARIANTS = 3  # of where a drum is struck
LEAD = 64     # samples of a path before its direct sound, for interpolation


def mono(x):
    return x if x.ndim == 1 else x.mean(axis=1)


def kit_of_files(folder):
    """Per instrument its samples, softest first, from a kit in a folder with drumkit.xml."""
    root = ElementTree.parse(os.path.join(folder, "drumkit.xml")).getroot()
    for element in root.iter():
        element.tag = element.tag.split("}")[-1]
    kit = {}
    for role, start in KITS[os.path.basename(folder)].items():
        instrument = next(i for i in root.iter("instrument") if (i.findtext("name") or "").startswith(start))
        layers = []
        for layer in list(instrument.iter("layer")) or [instrument]:
            x, rate = sf.read(os.path.join(folder, layer.findtext("filename")))
            layers.append((float(layer.findtext("min") or 0), resampled(mono(x), int(len(x) * RATE / rate))))
        kit[role] = [x for _, x in sorted(layers, key=lambda layer: layer[0])]
    return kit


def kit_of_sound_font(path):
    """The same from a SoundFont 2 file."""
    with open(path, "rb") as f:
        data = f.read()

    def chunk(name, after=0):
        at = data.index(name, after)
        return data[at + 8:at + 8 + struct.unpack("<I", data[at + 4:at + 8])[0]]

    samples = np.frombuffer(chunk(b"smpl", data.index(b"sdta")), "<i2") / 32768
    heads = [struct.unpack("<20s5I", head[:40]) for (head,) in struct.iter_unpack("46s", chunk(b"shdr"))]
    wanted = KITS[os.path.splitext(os.path.basename(path))[0]]
    return {role: [samples[h[1]:h[2]].copy() for h in heads if h[0].decode().startswith(start)]
            for role, start in wanted.items()}


def coloured(x, db, random):
    """The signal with a colouring of up to so many dB either way, with its minimum phase."""
    n = 1 << (len(x) + 2047).bit_length()
    f = np.fft.rfftfreq(n, 1 / RATE)
    nodes = np.geomspace(40, 16000, 7)
    level = np.interp(np.log(np.maximum(f, 20)), np.log(nodes), random.uniform(-db, db, len(nodes))) * np.log(10) / 20
    cepstrum = np.fft.irfft(level, n)
    cepstrum[1:n // 2] *= 2
    cepstrum[n // 2 + 1:] = 0
    return np.fft.irfft(np.fft.rfft(x, n) * np.exp(np.fft.rfft(cepstrum)), n)[:len(x)]


def arrival(distance, cosine, gain):
    """A sound that arrives over this distance, this cosine off the axis: the sample it begins at and its shape."""
    delay = distance / SPEED_OF_SOUND * RATE
    k = np.arange(-24, 25)
    shape = np.zeros(256)
    shape[LEAD - 24:LEAD + 25] = np.sinc(k - delay % 1) * np.hanning(51)[1:-1]
    if cosine < 0.5:  # duller
        smoothing = min(0.75, 0.5 - 0.5 * cosine)
        shape = np.convolve(shape, (1 - smoothing) * smoothing ** np.arange(64))[:256]
    pick_up = max(0.08, 0.5 + 0.5 * cosine)
    return int(delay), shape * gain * pick_up / max(0.04, distance)


def path(source, microphone, axis, room, colouring_db, random):
    size, absorption, decay, tail_level = room
    response = np.zeros(int(RATE * min(0.6, 1.3 * decay)))
    middle = np.array([size[0] / 2, size[1] / 2, 0])
    source, microphone = np.array(source) + middle, np.array(microphone) + middle

    def add(place, gain):
        way = microphone - place
        distance = np.linalg.norm(way)
        at, shape = arrival(distance, np.dot(-way / max(distance, 1e-6), axis), gain)
        response[at:at + len(shape)] += shape[:len(response) - at]

    add(source, 1.0)
    for dimension in range(3):
        for wall in (0, size[dimension]):
            image = source.copy()
            image[dimension] = 2 * wall - source[dimension]
            add(image, (1 - absorption) * (0.8 if dimension < 2 else 0.7))

    t = np.arange(len(response)) / RATE
    tail = np.convolve(random.standard_normal(len(t)) * np.exp(-6.9 * t / decay), np.ones(6) / 6)[:len(t)]
    tail[:int(0.012 * RATE) + LEAD] = 0
    response += tail * tail_level / np.sqrt(np.sum(tail ** 2))
    return coloured(response, colouring_db, random)[LEAD - 8:]


def strokes(style, random):
    """(instrument, seconds, velocity 0..1) of a pattern with a fill in every fourth bar."""
    beats = {"rock": 112, "funk": 98, "ballad": 72, "swing": 132, "toms": 120, "fast": 158}[style]
    beat = 60 / (beats * random.uniform(0.95, 1.05))
    played = []

    def hit(role, at, velocity, chance=1.0):
        if random.random() < chance:
            played.append((role, max(0.05, 0.3 + at * beat + random.normal(0, 0.004)),
                           float(np.clip(velocity + random.normal(0, 0.06), 0.08, 1))))

    for bar in range(int(SECONDS / (4 * beat))):
        start, is_fill = 4 * bar, bar % 4 == 3
        if style in ("rock", "ballad"):
            for i in range(4 if is_fill else 8):
                hit("ride" if bar % 8 >= 6 else "open" if i == 7 and bar % 3 == 0 else "hat", start + i / 2,
                    0.5 if i % 2 else 0.8)
            hit("kick", start, 0.95), hit("kick", start + 2, 0.9), hit("kick", start + 2.5, 0.7, 0.6)
            hit("snare", start + 1, 0.9), hit("snare", start + 3, 0.95, 0.0 if is_fill else 1.0)
        elif style == "funk":
            for i in range(16):
                hit("hat", start + i / 4, (0.8, 0.3, 0.5, 0.3)[i % 4])
            for i in (0, 3, 6, 10, 13):
                hit("kick", start + i / 4, 0.85, 0.8)
            hit("snare", start + 1, 0.95), hit("snare", start + 3, 0.95)
            for i in (7, 9, 15):
                hit("snare", start + i / 4, 0.2, 0.7)
        elif style == "swing":
            for at in (0, 1, 1.67, 2, 3, 3.67):
                hit("ride", start + at, 0.7)
            hit("hat", start + 1, 0.5), hit("hat", start + 3, 0.5)
            hit("kick", start, 0.6, 0.5), hit("kick", start + 2, 0.6, 0.5)
            for at in (0.67, 1.67, 2.33, 3.33):
                hit("snare", start + at, 0.4, 0.4)
        elif style == "toms":
            for i, role in enumerate(("floor", "floor", "tom 1", "floor", "tom 2", "floor", "tom 1", "snare")):
                hit(role, start + i / 2, 0.7 if i % 2 else 0.9)
            for i in range(4):
                hit("kick", start + i, 0.8), hit("hat", start + i + 0.5, 0.5)
        else:
            for i in range(8):
                hit("hat" if bar % 8 < 4 else "ride", start + i / 2, 0.75)
            for at in (0, 0.5, 2, 2.75):
                hit("kick", start + at, 0.85)
            hit("snare", start + 1, 0.95), hit("snare", start + 3, 0.95)
        if is_fill:
            roles = ("snare", "tom 1", "tom 2", "floor")
            for i in range(4 if style == "swing" else 8):
                hit(roles[i if style == "swing" else i // 2], start + (3 if style == "swing" else 2) + i / 4, 0.6 + 0.05 * i)
        if bar % 4 == 0:
            hit("crash", start, 0.9)
    return [stroke for stroke in played if stroke[1] < SECONDS - 1]


def performance(kit, style, random):
    """Per drum what it plays, struck at VARIANTS places, and its hits."""
    n = int(SECONDS * RATE)
    played, hits = {}, {}
    for role, seconds, velocity in sorted(strokes(style, random), key=lambda stroke: stroke[1]):
        if role not in kit:
            role = "floor"  # plays for a second tom that the kit does not have
        layers = kit[role]
        x = layers[min(len(layers) - 1, int(velocity * len(layers)))]
        x = x[max(0, int(np.argmax(np.abs(x) > 0.05 * np.abs(x).max())) - 32):][:4 * RATE]
        x = coloured(resampled(x, int(len(x) * random.uniform(0.997, 1.003))), 1.5, random)
        drum = "hat" if role == "open" else role
        signals = played.setdefault(drum, np.zeros((VARIANTS, n)))
        at, length = int(seconds * RATE), min(len(x), n - int(seconds * RATE))
        if drum == "hat":  # a stroke ends the one before
            signals[:, at:] = 0
            signals[:, at - 200:at] *= np.linspace(1, 0, 200)
        signals[random.integers(VARIANTS), at:at + length] += x[:length] * velocity ** 1.5 * PEAKS[role] / np.abs(x).max()
        hits.setdefault(drum, []).append([at, round(velocity, 3), "hit"])
    return played, hits


def recorded(name, kit, style, room, seed):
    """The session of a kit that plays a pattern in a room."""
    random = np.random.default_rng(seed)
    played, hits = performance(kit, style, random)
    n = int(SECONDS * RATE)
    size = 1 << (n + RATE).bit_length()
    drums = [drum for drum in TRACKS if drum in kit]
    places = {}
    for drum in drums:
        offset = np.array(MICROPHONES[drum]) * random.uniform(0.85, 1.3)
        places[drum] = np.array(PLACES[drum]) + offset, -offset / np.linalg.norm(offset)

    own = {drum: np.zeros(n) for drum in drums}
    rest = {drum: 10 ** (-95 / 20) * random.standard_normal(n) for drum in drums}
    for source, signals in played.items():
        spectra = [np.fft.rfft(x, size) for x in signals]
        struck = [np.array(PLACES[source]) + random.normal(0, 0.015, 3) for _ in range(VARIANTS)]
        for drum in drums:
            colouring = random.integers(1 << 30)  # one for all strokes
            heard = sum(spectrum * np.fft.rfft(path(place, *places[drum], room, 2 if source == drum else 5,
                                                    np.random.default_rng(colouring)), size)
                        for spectrum, place in zip(spectra, struck))
            (own if source == drum else rest)[drum] += np.fft.irfft(heard, size)[:n]

    # Snare wires, 26 dB below the snare.
    shaken = sum(np.abs(played[drum]).sum(axis=0) for drum in ("kick", "tom 1", "tom 2", "floor") if drum in played)
    fall = 0.97 ** np.arange(400)
    buzz = random.standard_normal(n) * np.sqrt(np.convolve(shaken[::32] ** 2, fall)[:len(shaken[::32])]).repeat(32)[:n]
    spectrum, f = np.fft.rfft(buzz), np.fft.rfftfreq(n, 1 / RATE)
    buzz = np.fft.irfft(spectrum * ((f > 1500) & (f < 9000)), n)
    rest["snare"] += buzz * 0.05 * np.sqrt(np.mean(own["snare"] ** 2) / np.mean(buzz ** 2))

    session = Session(name, RATE, [])
    for drum in drums:
        track_name, drum_type = TRACKS[drum]
        gain = 0.7 / np.abs(own[drum] + rest[drum]).max()
        session.tracks.append({"name": track_name, "drum_type": drum_type, "own": own[drum] * gain,
                               "rest": rest[drum] * gain, "hits": sorted(hits.get(drum, []))})
    return session


def main():
    parser = argparse.ArgumentParser(usage=__doc__)
    parser.add_argument("--out", required=True)
    parser.add_argument("--only", default="", help="kits whose name holds this")
    parser.add_argument("--files", default="/usr/share/hydrogen/data/drumkits", help="folder of kits of files")
    parser.add_argument("--sound-fonts", default="/usr/share/sounds/sf2", help="folder of kits in SoundFont 2 files")
    args = parser.parse_args()
    for i, name in enumerate(KITS):
        if args.only not in name:
            continue
        sound_font = os.path.join(args.sound_fonts, name + ".sf2")
        kit = kit_of_sound_font(sound_font) if os.path.exists(sound_font) else kit_of_files(os.path.join(args.files, name))
        style = STYLES[i % len(STYLES)]
        session = recorded(re.sub(r"\W+", "_", name) + "." + style, kit, style, ROOMS[i % len(ROOMS)], 100 + i)
        for corner, db in (("sampled kits", 0), ("sampled kits, leakage %d dB" % LESS_LEAKAGE_DB, LESS_LEAKAGE_DB)):
            folder = os.path.join(args.out, corner, session.name)
            save(with_leakage(session, db), folder)
            print(folder)


if __name__ == "__main__":
    main()
