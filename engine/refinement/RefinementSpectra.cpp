#include "engine/refinement/RefinementSpectra.h"

#include "engine/numerics/simd/SignalKernels.h"

#include <cstring>

namespace tessivar::refinement
{

namespace
{
constexpr std::int64_t stretchesPerWorker = 8, fewestHops = 128, mostHops = 1024;
constexpr std::int64_t blockHops = static_cast<std::int64_t> (blockFrames);

/** Calls copy (index into the tile, index into the blocks) for every sixteen codes of a bin. */
template <typename Copy>
void forEachPiece (std::size_t numCodes, const Copy& copy)
{
    const auto numBins = numCodes / tileFrames;

    for (std::size_t bin = 0; bin < numBins; ++bin)
        for (std::size_t block = 0; block < tileBlocks; ++block)
            copy (bin * tileFrames + block * blockFrames, (block * numBins + bin) * blockFrames);
}

constexpr auto pieceBytes = blockFrames * sizeof (std::uint16_t);
} // namespace

SpectrumShape::SpectrumShape (const AnalysisShape& shape) : rate (shape.rate), length (shape.lengthInSamples)
{
    rate.frameLength *= 2;
    rate.hop *= 2;
    numBins = static_cast<std::size_t> (rate.numBins());
    numFrames = AnalysisShape::framesForLength (length, rate);
    constexpr auto framesOfTile = static_cast<std::int64_t> (tileFrames);
    numSegments = (numFrames + framesOfTile - 1) / framesOfTile;
}

void blocksToTile (std::span<std::uint16_t> tile, std::span<const std::uint16_t> blocks)
{
    forEachPiece (tile.size(),
                  [dest = tile.data(), source = blocks.data()] (std::size_t inTile, std::size_t inBlocks)
                  { std::memcpy (dest + inTile, source + inBlocks, pieceBytes); });
}

void tileToBlocks (std::span<std::uint16_t> blocks, std::span<const std::uint16_t> tile)
{
    forEachPiece (tile.size(),
                  [dest = blocks.data(), source = tile.data()] (std::size_t inTile, std::size_t inBlocks)
                  { std::memcpy (dest + inBlocks, source + inTile, pieceBytes); });
}

Stretch::Stretch (const SpectrumShape& shape,
                  std::int64_t firstHop,
                  std::int64_t endHop,
                  std::int64_t signalLength)
    : firstBlock (firstHop / blockHops), rate (shape.rate), start (firstHop * rate.hop),
      end (std::min (endHop * rate.hop, signalLength)), isLast (endHop * rate.hop >= signalLength)
{
    // A frame starts four hops before the hop that it is counted by.
    endBlock = (shape.hopsOf (end) + rate.frameLength / rate.hop - 1) / blockHops + 1;
}

Stretch::Part Stretch::completedBy (std::int64_t block) const
{
    const auto first = frameStart (block * blockHops, rate), last = first + blockHops * rate.hop;
    const auto from = std::clamp (start, first, last), to = std::clamp (end, from, last);
    return { from, static_cast<std::size_t> (from - first), static_cast<std::size_t> (to - from) };
}

std::vector<Stretch> stretchesOf (const SpectrumShape& shape, std::int64_t signalLength, int numWorkers)
{
    const auto numHops = shape.hopsOf (signalLength);
    const auto wanted = std::clamp (numHops / (stretchesPerWorker * numWorkers), fewestHops, mostHops);
    const auto step = (wanted + blockHops - 1) / blockHops * blockHops;
    std::vector<Stretch> stretches;

    for (std::int64_t hop = 0; hop < numHops; hop += step)
        stretches.emplace_back (shape, hop, hop + step, signalLength);

    return stretches;
}

FrameStream::FrameStream (const SpectrumShape& s)
    : shape (s),
      window (shape.blockSamples() + static_cast<std::size_t> (shape.rate.frameLength - shape.rate.hop)),
      powers (2 * shape.numBins)
{
}

void FrameStream::restart()
{
    current.reset();
    powers.clear();
}

FrameStream::Room FrameStream::moveTo (std::int64_t first)
{
    const auto samples = window.span();
    std::size_t numKept = 0;

    if (current && *current + blockHops == first)
    {
        numKept = samples.size() - shape.blockSamples();
        std::copy_n (samples.data() + shape.blockSamples(), numKept, samples.data());
    }

    current = first;
    return { frameStart (first, shape.rate) + static_cast<std::int64_t> (numKept),
             samples.subspan (numKept) };
}

bool readSource (SampleSource& source, FrameStream::Room room)
{
    if (! source.read (room.start, room.samples))
        return false;

    replaceNonFinite (room.samples);
    return true;
}

bool readStandard (const RefinementTrack& track,
                   std::int64_t start,
                   std::size_t length,
                   const StandardOutputs& outputs)
{
    const auto limit = start + static_cast<std::int64_t> (length);
    const auto first = std::clamp (std::int64_t{ 0 }, start, limit);
    const auto end = std::clamp (track.ownLength, first, limit);
    ComponentReader::Signals sums{};

    // Focus 5 keeps one component, Focus 1 five.
    for (std::size_t c = 0; c < sums.size(); ++c)
        if (auto* const output = outputs[numFocusSteps - 1 - c]; output != nullptr)
        {
            std::fill (output, output + (first - start), 0.0f);
            std::fill (output + (end - start), output + length, 0.0f);
            sums[c] = output + (first - start);
        }

    return end == first || track.standard->readSums (first, static_cast<std::size_t> (end - first), sums);
}

} // namespace tessivar::refinement
