#pragma once

#include "model/GroupState.h"
#include "report/Html.h"
#include "report/Png.h"
#include "report/ReportFacts.h"
#include "report/TrackMeasurement.h"
#include "terms/DrumType.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace tessivar
{

/** Decibels that a spectrogram shows, downwards from the loudest level of the track's source. */
inline constexpr float spectrogramRangeDb = 72.0f;

/** A spectrogram as indices of colours, axis.numColumns wide, SpectrumColumns::numBands high, high
    frequencies on top: 0 at the bottom of the range, numColours - 1 at topDb. */
[[nodiscard]] std::vector<std::uint8_t>
spectrogramPixels (const SignalPicture& signal, const PictureAxis& axis, float topDb, std::size_t numColours);

/** Colours from the dark background over a hue to nearly white; each one lighter than the one before. */
[[nodiscard]] std::vector<PngColour> colourRamp (PngColour hue, std::size_t numColours);

/** Variables of a style sheet for the drums' colours, on dark backgrounds or on light ones. */
[[nodiscard]] juce::String drumColourVariables (bool onDark);

/** The pictures of a track on one time axis, with what to read in place of them: waveform with kept and
    removed, hits, reduction, and spectrograms. */
void writeTrackFigure (Html& page,
                       const TrackState& track,
                       const TrackFacts& facts,
                       const TrackMeasurement& measured,
                       const PictureAxis& axis);

} // namespace tessivar
