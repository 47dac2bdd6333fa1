#include "ui/wave/SpectrumContent.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace tessivar
{

namespace
{

constexpr auto numBands = SpectrumGrid::numBands;
constexpr auto columnsPerTile = SpectrumGrid::columnsPerTile;
constexpr int finerLevels = 3; // of which tiles are drawn where a coarser one is missing

void interpolate (const std::uint8_t* a,
                  const std::uint8_t* b,
                  unsigned share,
                  std::array<std::uint8_t, numBands>& out)
{
    for (std::size_t band = 0; band < numBands; ++band)
        out[band] = static_cast<std::uint8_t> ((a[band] * (256u - share) + b[band] * share) >> 8);
}

} // namespace

void SpectrumContent::setTrack (std::uint32_t contentId,
                                double sampleRate,
                                std::int64_t lengthInSamples,
                                bool isAnalysed)
{
    if (id != contentId || hasKept != isAnalysed || length != lengthInSamples)
        ++numChanges;
    id = contentId;
    trackGrid = SpectrumGrid (sampleRate);
    length = lengthInSamples;
    hasKept = isAnalysed;
}

void SpectrumContent::setWeights (const ChannelWeights& newWeights)
{
    weights = newWeights;
}

const SpectrumContent::Entry* SpectrumContent::find (SpectrumPlace place) const
{
    const auto found = tiles.find ({ id, place });
    return found != tiles.end() ? &found->second : nullptr;
}

const SpectrumTile* SpectrumContent::use (SpectrumPlace place)
{
    const auto found = tiles.find ({ id, place });
    if (found == tiles.end())
        return nullptr;
    found->second.lastUse = ++numUses;
    return found->second.tile.get();
}

std::vector<SpectrumWish>
SpectrumContent::wishesFor (std::int64_t firstColumn, double samplesPerColumn, std::size_t numColumns) const
{
    std::vector<SpectrumWish> wishes;
    const auto level = trackGrid.levelFor (samplesPerColumn);
    const auto tileLength = static_cast<double> (trackGrid.hop (level) * columnsPerTile);
    const auto tileAt = [&] (std::int64_t column)
    {
        return static_cast<std::int64_t> (
            std::floor (static_cast<double> (column) * samplesPerColumn / tileLength));
    };
    const auto first = tileAt (firstColumn),
               last = tileAt (firstColumn + static_cast<std::int64_t> (numColumns));
    const auto add = [&] (std::int64_t index)
    {
        if (index < 0 || static_cast<double> (index) * tileLength >= static_cast<double> (length))
            return;
        const auto* const entry = find ({ level, index });
        if (entry != nullptr
            && (! hasKept || (! entry->tile->kept.empty() && entry->tile->weights == weights)))
            return;
        wishes.push_back ({ { level, index }, entry != nullptr ? entry->tile : nullptr });
    };
    for (auto index = first; index <= last; ++index)
        add (index);
    add (last + 1);
    add (first - 1);
    return wishes;
}

bool SpectrumContent::take (std::uint32_t contentId, std::shared_ptr<const SpectrumTile> tile)
{
    const auto place = tile->place;
    tiles[{ contentId, place }] = { std::move (tile), ++numUses };
    if (tiles.size() > mostTiles)
        tiles.erase (std::min_element (tiles.begin(),
                                       tiles.end(),
                                       [] (const auto& a, const auto& b)
                                       { return a.second.lastUse < b.second.lastUse; }));
    if (contentId != id)
        return false;
    ++numChanges;
    return true;
}

std::int64_t SpectrumContent::Picture::columnFrom (double sample) const
{
    const auto column = std::ceil (sample / samplesPerColumn - 0.5) - static_cast<double> (firstColumn);
    return static_cast<std::int64_t> (std::clamp (column, 0.0, static_cast<double> (levels.width)));
}

bool SpectrumContent::read (std::int64_t firstColumn, double samplesPerColumn, SpectrumLevels& levels)
{
    std::fill (levels.source.begin(), levels.source.end(), std::uint8_t{ 0 });
    std::fill (levels.kept.begin(), levels.kept.end(), std::uint8_t{ 0 });
    if (length <= 0 || levels.width == 0)
        return false;

    Picture picture{ firstColumn, samplesPerColumn, levels };
    const auto level = trackGrid.levelFor (samplesPerColumn);
    const auto tileLength = static_cast<double> (trackGrid.hop (level) * columnsPerTile);
    const auto first = std::max (0.0, std::floor (picture.sampleAt (0) / tileLength));
    const auto last = std::floor (std::min (picture.sampleAt (static_cast<std::int64_t> (levels.width) - 1),
                                            static_cast<double> (length - 1))
                                  / tileLength);
    auto isWhole = true;
    for (auto index = first; index <= last; ++index)
        isWhole &=
            draw (picture, { level, static_cast<std::int64_t> (index) }, std::max (0, level - finerLevels));
    return isWhole;
}

bool SpectrumContent::draw (Picture& picture, SpectrumPlace place, int finest)
{
    const auto tileLength = static_cast<double> (trackGrid.hop (place.level) * columnsPerTile);
    const auto from = picture.columnFrom (static_cast<double> (place.index) * tileLength);
    const auto end = picture.columnFrom (static_cast<double> (place.index + 1) * tileLength);
    if (from >= end)
        return true;
    for (auto [level, index] = place; level <= SpectrumGrid::coarsestLevel; ++level, index /= 2)
        if (const auto* const tile = use ({ level, index }))
        {
            draw (picture, *tile, from, end);
            return true;
        }
    if (place.level == finest)
        return false;
    const auto hasLeft = draw (picture, { place.level - 1, place.index * 2 }, finest);
    return draw (picture, { place.level - 1, place.index * 2 + 1 }, finest) && hasLeft;
}

void SpectrumContent::draw (Picture& picture, const SpectrumTile& tile, std::int64_t from, std::int64_t end)
{
    const auto [level, index] = tile.place;
    const auto hop = static_cast<double> (trackGrid.hop (level));
    const auto* const before = use ({ level, index - 1 });
    const auto* const behind = use ({ level, index + 1 });
    const auto width = picture.levels.width;

    const auto column = [&] (std::int64_t i, bool isKept) -> const std::uint8_t*
    {
        const auto* const owner = i < 0 && before != nullptr                 ? before
                                  : i >= columnsPerTile && behind != nullptr ? behind
                                                                             : &tile;
        const auto own = owner == &tile ? std::clamp<std::int64_t> (i, 0, columnsPerTile - 1)
                                        : (i + columnsPerTile) % columnsPerTile;
        const auto& bytes = isKept && ! owner->kept.empty() ? owner->kept : owner->source;
        return bytes.data() + static_cast<std::size_t> (own) * numBands;
    };
    std::array<std::uint8_t, numBands> levels;
    for (auto x = from; x < end; ++x)
    {
        const auto position = picture.sampleAt (x) / hop - 0.5 - static_cast<double> (index * columnsPerTile);
        const auto left = std::floor (position);
        const auto share = static_cast<unsigned> ((position - left) * 256.0);
        for (const auto isKept : { false, true })
        {
            interpolate (column (static_cast<std::int64_t> (left), isKept),
                         column (static_cast<std::int64_t> (left) + 1, isKept),
                         share,
                         levels);
            auto* out =
                (isKept ? picture.levels.kept : picture.levels.source).data() + static_cast<std::size_t> (x);
            for (std::size_t band = 0; band < numBands; ++band)
                out[band * width] = levels[band];
        }
    }
}

} // namespace tessivar
