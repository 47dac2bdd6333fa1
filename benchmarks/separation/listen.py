#!/usr/bin/python3
"""listen.py --program PROGRAM [--pictures DIR] SESSION...

What ears would find in the tracks of the refined method at their suggested Focus, by sessions whose truth is known:
a Markdown table with one row for each track, and pictures. PROGRAM is tessivar-cli; sessions.py tells what a SESSION
is. Needs numpy and soundfile.

  isolated    tones a second in the pauses of the own drum that stand alone in the result and not in the source: bins
              of 2048-sample frames within 70 dB of the source's loudest bin, local maxima, 12 dB above the mean of the
              eight bins that lie two bins or a frame off or both (in the source: not even 6 dB), where the own drum
              is 60 dB below its loudest frame. Of 90 such tones a second, made by masking noise, it finds 79
  pumping     how far the leakage that is left moves with the own drum's hits, dB: the level of (result - truth) over
              that of (source - truth), above 2 kHz, in frames of 20 ms, limited to -40 dB; taken from 50 ms after each
              hit to 50 ms before the next where the leakage is 10 dB above the own drum, and averaged over all gaps
              by the time since the hit, in steps of 0.1 s up to 1.5 s; then the standard deviation of these averages,
              less (by squares) what it is in the mean for as many hits at random times, of 50 fixed draws. 0 in the
              source and where the leakage falls by the same amount at all times; 4 for a gate that lets 20 dB more
              through for 150 ms; under ten hits it is a rough figure
  sway        the standard deviation of the same level over the single frames, dB: what moves without the hits too
  left        the mean of that level, dB

--pictures writes SESSION TRACK.png: source, truth and result one under the other, log frequency from 40 Hz up, 70 dB
below the source's loudest, time to the right in steps of 10 ms, own hits as ticks above each.
"""
import argparse
import os
import struct
import tempfile
import zlib

import numpy as np
import soundfile as sf

from separation import process
from sessions import load
from tables import mean, print_heading, print_row, text


def powers(x, length, hop):
    """Power spectrogram, bins x frames, by Hann frames."""
    frames = np.lib.stride_tricks.sliding_window_view(np.concatenate([x, np.zeros(length)]), length)[::hop]
    return np.abs(np.fft.rfft(frames * np.hanning(length + 1)[:-1])).T ** 2


def isolated(y, x, own, rate):
    """Bins a second that stand alone in the result y and not in the source x; None without a pause."""
    length = 2048
    hop = length // 2
    quiet = powers(own, length, hop).sum(0)
    quiet = (quiet < 1e-6 * quiet.max())[2:-2]
    if np.sum(quiet) * hop < 0.5 * rate:
        return None

    def shifted(v, f, t):
        return v[2 + f:v.shape[0] - 2 + f, 2 + t:v.shape[1] - 2 + t]

    def prominence(v):
        return v[2:-2, 2:-2] / (sum(shifted(v, f, t) for f in (-2, 0, 2) for t in (-2, 0, 2) if f or t) / 8 + 1e-30)

    result, source = powers(y, length, hop), powers(x, length, hop)
    alone = (prominence(result) > 16) & (prominence(source) < 4) & (result[2:-2, 2:-2] > 1e-7 * source.max())
    for f, t in ((-1, 0), (1, 0), (0, -1), (0, 1)):
        alone &= result[2:-2, 2:-2] >= shifted(result, f, t)
    return float(np.sum(alone[:, quiet]) / (np.sum(quiet) * hop / rate))


def leakage_left(x, own, y, rate):
    """Level in dB of the leakage that is left, by frames of 20 ms; not a number where the own drum sounds or little
    leaks."""
    n = int(0.02 * rate)

    def level(signal):
        spectrum = np.fft.rfft(signal)
        spectrum[:int(2000 * len(signal) / rate)] = 0
        high = np.fft.irfft(spectrum, len(signal))
        return np.sum(high[:len(high) // n * n].reshape(-1, n) ** 2, axis=1)

    before, after, drum = level(x - own), level(y - own), level(own)
    left = 10 * np.log10(np.maximum(after, 1e-4 * before) / (before + 1e-30) + 1e-30)
    return np.where((before > 10 * drum) & (before > 1e-5 * before.max()), left, np.nan)


def in_gaps(left, hits):
    """(averages by the time since the hit, levels of all frames that count), in the gaps between hits, in seconds."""
    time = (np.arange(len(left)) + 0.5) * 0.02
    at = np.array(sorted(hits) + [time[-1] + 1])
    last = np.searchsorted(at, time, side="right") - 1
    since, until = time - at[np.maximum(last, 0)], at[np.minimum(last + 1, len(at) - 1)] - time
    told = np.isfinite(left) & (last >= 0) & (since > 0.05) & (until > 0.05)
    steps = [left[told & (since > a) & (since <= a + 0.1)] for a in np.arange(0.05, 1.5, 0.1)]
    return [np.mean(s) for s in steps if len(s) >= 5], left[told]


def pumping(left, hits):
    """Pumping, sway and mean; None where too little leaks in the gaps."""
    steps, levels = in_gaps(left, hits)
    if len(steps) < 3:
        return None, None, None
    seconds = len(left) * 0.02
    random = np.random.default_rng(1)
    drawn = [in_gaps(left, random.uniform(0, seconds, len(hits)).tolist())[0] for _ in range(50)]
    chance = np.mean([np.var(s) for s in drawn if len(s) >= 3] or [0.0])
    return float(np.sqrt(max(0.0, np.var(steps) - chance))), float(np.std(levels)), float(np.mean(levels))


def picture(signals, rate, hits, path):
    """Signals one under the other: RGB, dark to bright."""
    length, hop, rows = 4096, int(0.01 * rate), 240
    edges = np.geomspace(40, 0.45 * rate, rows + 1) * length / rate
    colours = np.array([[0, 0, 4], [60, 15, 110], [150, 38, 103], [222, 73, 66], [251, 155, 6], [252, 255, 164]], float)
    parts, top = [], None
    for x in signals:
        v = powers(np.concatenate([np.zeros(length // 2), x]), length, hop)
        bands = np.array([v[int(a):max(int(a) + 1, int(b))].mean(0) for a, b in zip(edges, edges[1:])])
        top = top or bands.max()
        shade = np.clip(1 + np.log10(bands / top + 1e-30) / 7, 0, 1)[::-1] * (len(colours) - 1)
        image = np.stack([np.interp(shade, np.arange(len(colours)), c) for c in colours.T], -1)
        ticks = np.full((8, image.shape[1], 3), 255.0)
        for at in hits:
            ticks[:, min(image.shape[1] - 1, int(at * 100)):][:, :2] = 0
        parts += [ticks, image]
    pixels = np.concatenate(parts).astype(np.uint8)

    def chunk(kind, data):
        return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))

    lines = np.concatenate([np.zeros((len(pixels), 1), np.uint8), pixels.reshape(len(pixels), -1)], 1)
    with open(path, "wb") as f:
        f.write(b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", pixels.shape[1], len(pixels), 8, 2, 0, 0, 0))
                + chunk(b"IDAT", zlib.compress(lines.tobytes(), 6)) + chunk(b"IEND", b""))


def main():
    parser = argparse.ArgumentParser(usage=__doc__)
    parser.add_argument("sessions", nargs="+")
    parser.add_argument("--program", required=True)
    parser.add_argument("--pictures")
    args = parser.parse_args()
    if args.pictures:
        os.makedirs(args.pictures, exist_ok=True)
    print_heading(["session", "track", "isolated", "pumping", "sway", "left"])
    figures = []
    for folder in args.sessions:
        session = load(folder)
        with tempfile.TemporaryDirectory() as out:
            process(args, folder, "refined", "suggested", 1, out)
            for t in session.tracks:
                y = sf.read(next(os.path.join(out, f) for f in os.listdir(out) if f.startswith(t["name"] + "_Processed")))[0]
                x, hits = t["own"] + t["rest"], [h[0] / session.rate for h in t["hits"]]
                row = [isolated(y, x, t["own"], session.rate), *pumping(leakage_left(x, t["own"], y, session.rate), hits)]
                figures.append(row)
                print_row([session.name, t["name"]] + [text(v) for v in row])
                if args.pictures:
                    picture([x, t["own"], y], session.rate, hits,
                            os.path.join(args.pictures, "%s %s.png" % (session.name, t["name"])))
    print_row(["all", ""] + [text(mean([row[i] for row in figures])) for i in range(4)])


if __name__ == "__main__":
    main()
