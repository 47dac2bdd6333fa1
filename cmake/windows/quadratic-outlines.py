#!/usr/bin/python3
"""Writes the fonts of a folder with the quadratic outlines of TrueType into another one: the system draws those the
same everywhere, and cubic ones as it likes.

    quadratic-outlines.py FROM TO
"""

import sys
from pathlib import Path

from fontTools.pens.cu2quPen import Cu2QuPen
from fontTools.pens.ttGlyphPen import TTGlyphPen
from fontTools.ttLib import TTFont, newTable

LARGEST_ERROR = 0.5  # in units, of which an em has 2048 or more


def make_quadratic(font):
    outlines = font.getGlyphSet()
    table = newTable("glyf")
    table.glyphOrder = font.getGlyphOrder()
    table.glyphs = {}
    for name in table.glyphOrder:
        pen = TTGlyphPen(outlines)
        outlines[name].draw(Cu2QuPen(pen, LARGEST_ERROR, reverse_direction=True))
        glyph = table.glyphs[name] = pen.glyph()
        glyph.recalcBounds(table)
        width, _ = font["hmtx"][name]
        font["hmtx"][name] = width, getattr(glyph, "xMin", 0)

    del font["CFF "]
    font["glyf"] = table
    font["loca"] = newTable("loca")
    font["post"].formatType = 3.0  # without names
    font["maxp"].tableVersion = 0x00010000
    font["maxp"].maxZones = 1
    for limit in (
        "maxTwilightPoints",
        "maxStorage",
        "maxFunctionDefs",
        "maxInstructionDefs",
        "maxStackElements",
        "maxSizeOfInstructions",
        "maxComponentElements",
    ):
        setattr(font["maxp"], limit, 0)
    font.sfntVersion = "\0\1\0\0"


source, target = map(Path, sys.argv[1:])
for path in sorted(source.glob("*.otf")):
    font = TTFont(path, recalcTimestamp=False)
    make_quadratic(font)
    font.save(target / path.name)
