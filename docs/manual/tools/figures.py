#!/usr/bin/env python3
"""Draws the figures of "How it works" from the demo session: what a track holds before and after, its components, and
the gain of every time and frequency.

    docs/manual/tools/figures.py [--bin build/release/bin]

Writes spectrogram.png, components.png and mask.png into docs/manual/pictures. Needs python3-numpy and python3-pil.
"""

import argparse
import subprocess
import tempfile
from pathlib import Path

import numpy as np
from PIL import Image, ImageDraw, ImageFont

MANUAL = Path(__file__).resolve().parent.parent
ROOT = MANUAL.parent.parent
TRACK, TYPES = "HH", ["--type", "SD*=snare", "--type", "Rack*=tomHigh"]
FROM, TO = 5.4, 8.2  # s: the hi-hat alone, then kick, snare and toms beside it
LENGTH, HOP = 2048, 128
LOWEST, HIGHEST = 80.0, 16000.0  # Hz
WIDTH, LEFT, GAP = 1480, 150, 26
INK, FAINT, EMBER, TEAL = (26, 32, 38), (140, 150, 160), (178, 74, 30), (12, 122, 108)


def font(size, weight="Regular"):
    return ImageFont.truetype(str(ROOT / f"Resources/fonts/Inter-{weight}.otf"), size)


def read_wav(path):
    """Mono samples and rate, by way of the chunks: 16, 24 or 32 bits, or float."""
    data = path.read_bytes()
    position, samples = 12, None
    while position + 8 <= len(data):
        name, size = data[position:position + 4], int.from_bytes(data[position + 4:position + 8], "little")
        body = data[position + 8:position + 8 + size]
        if name == b"fmt ":
            kind, rate = int.from_bytes(body[:2], "little"), int.from_bytes(body[4:8], "little")
            bits = int.from_bytes(body[14:16], "little")
            kind = int.from_bytes(body[24:26], "little") if kind == 0xFFFE else kind
        elif name == b"data":
            if kind == 3:
                samples = np.frombuffer(body, "<f4").astype(float)
            else:
                width = bits // 8
                raw = np.frombuffer(body[:len(body) // width * width], np.uint8).reshape(-1, width)
                padded = np.zeros((len(raw), 4), np.uint8)
                padded[:, 4 - width:] = raw
                samples = padded.view("<i4")[:, 0] / 2.0 ** 31
        position += 8 + size + size % 2
    return samples, rate


def power(samples, rate):
    """Power spectrogram of the stretch that is shown: bins by frames."""
    window = np.hanning(LENGTH)
    starts = np.arange(int(FROM * rate), int(TO * rate), HOP)
    frames = np.stack([samples[start - LENGTH // 2:start + LENGTH // 2] * window for start in starts])
    return (np.abs(np.fft.rfft(frames)) ** 2).T + 1e-12


def on_log_axis(values, rate, height):
    frequencies = HIGHEST * (LOWEST / HIGHEST) ** (np.arange(height) / (height - 1))
    bins = frequencies / rate * LENGTH
    low = np.floor(bins).astype(int)
    part = (bins - low)[:, None]
    return values[low] * (1 - part) + values[low + 1] * part


def shades(values, low, high, colour, steps=12):
    """White below `low`, the colour above `high`, in few steps: small files."""
    amount = np.clip((values - low) / (high - low), 0, 1)
    amount = (np.round(amount * steps) / steps)[..., None]
    return np.uint8(255 + amount * (np.array(colour) - 255))


class Sheet:
    def __init__(self, height):
        self.image = Image.new("RGB", (WIDTH, height), "white")
        self.draw = ImageDraw.Draw(self.image)

    def panel(self, pixels, top):
        height, width = pixels.shape[:2]
        self.image.paste(Image.fromarray(pixels), (LEFT, top))
        self.draw.rectangle((LEFT, top, LEFT + width - 1, top + height - 1), outline=FAINT, width=2)

    def title(self, text, top):
        self.draw.text((LEFT, top), text, fill=INK, font=font(27, "SemiBold"))

    def frequencies(self, top, height):
        for value, text in ((100, "100 Hz"), (1000, "1 kHz"), (10000, "10 kHz")):
            y = top + height * np.log(HIGHEST / value) / np.log(HIGHEST / LOWEST)
            self.draw.line((LEFT - 10, y, LEFT, y), fill=FAINT, width=2)
            self.draw.text((LEFT - 18, y), text, fill=INK, font=font(24), anchor="rm")

    def times(self, top):
        first = int(np.ceil(FROM * 2))
        for half in range(first, int(TO * 2) + 1):
            x = LEFT + (half / 2 - FROM) / (TO - FROM) * (WIDTH - LEFT)
            self.draw.line((x, top, x, top + 10), fill=FAINT, width=2)
            self.draw.text((x, top + 16), f"{half / 2:.1f} s", fill=INK, font=font(24), anchor="mt")

    def save(self, name, grey=False):
        """In few colours, for the size of the file; all grey where no colour is needed."""
        picture = self.image.convert("L") if grey else \
            self.image.quantize(48, method=Image.Quantize.MEDIANCUT, dither=Image.Dither.NONE)
        picture.save(MANUAL / f"pictures/{name}.png", optimize=True)
        print(f"{name}: {(MANUAL / f'pictures/{name}.png').stat().st_size // 1024} KB")


def stretched(pixels, width):
    return np.asarray(Image.fromarray(pixels).resize((width, pixels.shape[0]), Image.Resampling.BILINEAR))


def draw_spectrogram(source, kept, rate):
    height, width = 300, WIDTH - LEFT
    sheet = Sheet(3 * (height + 40 + GAP) + 40)
    reference = 10 * np.log10(power(source, rate).max())
    top = 0
    for title, samples, colour in (("The track as it was recorded", source, INK),
                                   ("Kept", kept, TEAL),
                                   ("Removed", source - kept, EMBER)):
        level = 10 * np.log10(on_log_axis(power(samples, rate), rate, height)) - reference
        sheet.title(title, top)
        sheet.panel(stretched(shades(level, -75, -15, colour), width), top + 40)
        sheet.frequencies(top + 40, height)
        top += height + 40 + GAP
    sheet.times(top - GAP)
    sheet.save("spectrogram")


def draw_mask(source, kept, rate):
    height, width = 300, WIDTH - LEFT
    sheet = Sheet(height + 110)
    gain = 10 * np.log10(on_log_axis(power(kept, rate), rate, height) / on_log_axis(power(source, rate), rate, height))
    sheet.title("Gain: from −24 dB and below (white) to 0 dB (dark)", 0)
    sheet.panel(stretched(shades(gain, -24, 0, INK), width), 40)
    sheet.frequencies(40, height)
    sheet.times(40 + height)
    sheet.save("mask", grey=True)


def draw_components(source, components, rate):
    row, height = 78, 64
    sheet = Sheet((len(components) + 1) * row + 60)
    width = WIDTH - LEFT
    peak = np.abs(source[int(FROM * rate):int(TO * rate)]).max()
    for index, samples in enumerate([source] + components):
        top = index * row
        stretch = samples[int(FROM * rate):int(TO * rate)]
        edges = np.linspace(0, len(stretch), width + 1).astype(int)
        colour = FAINT if index == 0 else TEAL if index <= 5 else EMBER
        for x in range(width):
            part = np.clip(1.6 * stretch[edges[x]:edges[x + 1]] / peak, -1, 1)
            y = top + height / 2
            sheet.draw.line((LEFT + x, y - part.max() * height / 2, LEFT + x, y - part.min() * height / 2 + 1),
                            fill=colour)
        text = "track" if index == 0 else str(index)
        sheet.draw.text((LEFT - 18, top + height / 2), text, fill=INK, font=font(24), anchor="rm")
    sheet.times((len(components) + 1) * row)
    sheet.save("components")


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--bin", type=Path, default=ROOT / "build/release/bin")
    program = parser.parse_args().bin / "tessivar-cli"
    with tempfile.TemporaryDirectory() as folder:
        folder = Path(folder)
        subprocess.run([program, "demo", folder / "in"], check=True, stdout=subprocess.DEVNULL)
        for method, options in (("standard", ["--components"]), ("refined", [])):
            subprocess.run([program, "process", folder / "in", "--out", folder / method, "--method", method, "--quiet",
                            *TYPES, *options], check=True)
        source, rate = read_wav(folder / f"in/{TRACK}.wav")
        kept, _ = read_wav(folder / f"refined/{TRACK}_Processed.wav")
        files = sorted(path for path in (folder / "standard").rglob(f"{TRACK}*") if "_Processed" not in path.name)
        components = [read_wav(path)[0] for path in files]
        if len(components) != 10:
            raise SystemExit(f"figures: ten components expected, found {[path.name for path in files]}")
        draw_spectrogram(source, kept, rate)
        draw_mask(source, kept, rate)
        draw_components(source, components, rate)


if __name__ == "__main__":
    main()
