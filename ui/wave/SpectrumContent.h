#pragma once

#include "terms/ChannelLayout.h"
#include "terms/SpectrumTile.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <utility>
#include <vector>

namespace tessivar
{

/** Levels of a spectrogram as it is drawn, as in SpectrumTile: for each band, from the lowest one up, a row
    of as many columns as the picture has pixels. */
struct SpectrumLevels
{
    explicit SpectrumLevels (std::size_t columns = 0)
        : width (columns), source (columns * SpectrumGrid::numBands), kept (source.size())
    {
    }

    std::size_t width;
    std::vector<std::uint8_t> source;
    std::vector<std::uint8_t> kept; // as the source where nothing is known
};

/** A tile that is wanted, and the one for other weights, whose source needn't be read again. */
struct SpectrumWish
{
    SpectrumPlace place;
    std::shared_ptr<const SpectrumTile> known; // null: there is none
};

/** The tiles from which the spectrogram of a track is drawn: those of this track and, as long as there is
    room, of tracks that were shown before. Where a tile isn't there yet, one of a coarser level is drawn in
    its place, or finer ones. At most 192 tiles of 64 KB, 12.6 MB, are kept. Message thread.
*/
class SpectrumContent
{
public:
    static constexpr std::size_t mostTiles = 192;

    /** Without a track, lengthInSamples is 0. */
    void setTrack (std::uint32_t contentId, double sampleRate, std::int64_t lengthInSamples, bool isAnalysed);

    /** What tiles hold for other weights is drawn until they are computed anew. */
    void setWeights (const ChannelWeights& newWeights);

    [[nodiscard]] const SpectrumGrid& grid() const { return trackGrid; }

    /** The tiles still wanted for so many columns of a picture, starting at this column of the grid that
        WaveContent uses: those in view first, then their neighbours. */
    [[nodiscard]] std::vector<SpectrumWish>
    wishesFor (std::int64_t firstColumn, double samplesPerColumn, std::size_t numColumns) const;

    /** Takes a tile of any track; the one unused for longest gives way. False when it doesn't change what is
        drawn of the present track. */
    bool take (std::uint32_t contentId, std::shared_ptr<const SpectrumTile> tile);

    /** Fills the levels of columns from this one on; true when there were tiles for all of them. */
    bool read (std::int64_t firstColumn, double samplesPerColumn, SpectrumLevels& levels);

    [[nodiscard]] std::size_t numTiles() const { return tiles.size(); }

    /** Raised by every tile that changes what is drawn. */
    [[nodiscard]] std::uint64_t version() const { return numChanges; }

private:
    struct Entry
    {
        std::shared_ptr<const SpectrumTile> tile;
        std::uint64_t lastUse = 0;
    };

    using Key = std::pair<std::uint32_t, SpectrumPlace>;

    [[nodiscard]] const Entry* find (SpectrumPlace place) const;
    [[nodiscard]] const SpectrumTile* use (SpectrumPlace place);

    /** Pixel columns of a picture, and the samples that they stand for. */
    struct Picture
    {
        std::int64_t firstColumn;
        double samplesPerColumn;
        SpectrumLevels& levels;

        [[nodiscard]] double sampleAt (std::int64_t x) const
        {
            return (static_cast<double> (firstColumn + x) + 0.5) * samplesPerColumn;
        }
        /** The first column at or behind a sample, within the picture. */
        [[nodiscard]] std::int64_t columnFrom (double sample) const;
    };

    bool draw (Picture& picture, SpectrumPlace place, int finest);
    void draw (Picture& picture, const SpectrumTile& tile, std::int64_t from, std::int64_t end);

    SpectrumGrid trackGrid{ 48000.0 };
    std::uint32_t id = 0;
    std::int64_t length = 0;
    bool hasKept = false;
    ChannelWeights weights{};
    std::map<Key, Entry> tiles;
    std::uint64_t numUses = 0, numChanges = 0;
};

} // namespace tessivar
