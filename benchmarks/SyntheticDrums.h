#pragma once

#include "terms/DrumType.h"

#include <cstdint>
#include <string>

namespace tessivar::benchmarks
{

/** The type code of a microphone of a synthetic kit: kick, kick, snare, snare, hi-hat, three toms, then
    again.
*/
[[nodiscard]] DrumType syntheticDrumType (int track);

/** The file of a microphone below a folder. */
[[nodiscard]] std::string syntheticTrackFile (const std::string& folder, int track);

enum class SyntheticFormat
{
    rawFloat, // 32 bits a sample, no header
    wave24    // WAV of 24 bits a sample; the file's name ends in .wav
};

/** Writes the close microphones of a synthetic drum kit, one mono file each, piece by piece.

    Every drum has its own hits, each a damped sinusoid with falling pitch and a burst of noise; every
    microphone hears its own drum, the others 12 to 30 dB softer and later, and a noise floor at -84 dBFS.
    Equal arguments give equal files. Throws std::runtime_error with folder and reason.
*/
void writeSyntheticDrums (
    const std::string& folder, int numTracks, int seconds, int sampleRate, SyntheticFormat format);

} // namespace tessivar::benchmarks
