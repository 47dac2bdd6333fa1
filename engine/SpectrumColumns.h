#pragma once

#include "engine/numerics/AlignedBuffer.h"
#include "engine/numerics/BlockFft.h"
#include "terms/SpectrumTile.h"

#include <cstddef>
#include <span>
#include <vector>

namespace tessivar
{

/** How loud a signal is in each frequency band at one time, for pictures: a column of a spectrogram holds the
    levels of the bands of SpectrumGrid. One thread at a time may use an object.
*/
class SpectrumColumns
{
public:
    static constexpr std::size_t numBands = SpectrumGrid::numBands;
    static constexpr float floorDb = -120.0f; // of silence, and the lowest level told

    explicit SpectrumColumns (double sampleRate);

    /** Samples that a column is computed from: a power of two, about 40 ms. */
    [[nodiscard]] std::size_t windowLength() const { return fft.length(); }

    /** Hz of a band's centre, 0..127 or between. */
    [[nodiscard]] double frequencyOf (double band) const { return grid.frequencyOf (band); }

    /** Levels in dB, 0 dB for a sine at full scale, of the windows that start at these samples, in any order;
        a null pointer is silence. levels: numBands for each window, lowest band first. */
    void compute (std::span<const float* const> windows, std::span<float> levels);

private:
    const SpectrumGrid grid;
    const std::vector<float> window;
    BlockFft fft;
    std::vector<std::size_t> firstBin; // of each band
    std::vector<std::vector<float>> weights;
    AlignedBuffer spectrum;
};

} // namespace tessivar
