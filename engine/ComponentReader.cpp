#include "engine/ComponentReader.h"

#include "engine/numerics/BlockFft.h"

#include <algorithm>
#include <array>
#include <utility>

namespace tessivar
{

/** Renders block after block, and keeps the last one. */
class ComponentReader::Renderer
{
public:
    explicit Renderer (const ComponentReader& r)
        : reader (r), shape (r.factors->shape), renderer (r.bases,
                                                          { r.factors->activations.data(),
                                                            channelLayout::numComponents,
                                                            static_cast<std::size_t> (shape.numFrames) },
                                                          r.factors->data)
    {
    }

    /** Whether rendering can go on to that sample from where it stands. */
    [[nodiscard]] bool reaches (std::int64_t position) const { return position >= first && position <= end; }

    [[nodiscard]] bool read (std::int64_t start, std::size_t n, const Signals& components, bool asSums)
    {
        std::vector<std::size_t> slots;

        for (std::size_t slot = 0; slot < components.size(); ++slot)
            if (components[slot] != nullptr)
                slots.push_back (slot);

        if (! reaches (start) || slots != rendered || asSums != areSums)
        {
            areSums = asSums;
            seek (start, slots);
        }

        for (std::size_t done = 0; done < n;)
        {
            const auto position = start + static_cast<std::int64_t> (done);

            if (position >= end && ! renderNext (n - done))
                return false;

            // After a seek the first block reaches past the sample that was sought.
            const auto count = std::min (n - done, static_cast<std::size_t> (end - position));

            for (const auto slot : slots)
                std::copy_n (blocks[slot].data() + (position - blockStart), count, components[slot] + done);

            done += count;
        }

        return true;
    }

private:
    [[nodiscard]] std::int64_t sampleOf (std::int64_t frame) const
    {
        return frameStart (frame, shape.rate) - shape.paddingSamples;
    }

    void seek (std::int64_t position, const std::vector<std::size_t>& slots)
    {
        // The hop that holds the sample takes in the three frames before its own.
        nextFrame = (position + shape.paddingSamples + shape.rate.frameLength) / shape.rate.hop - 3;
        framesRead = {};
        first = position;
        end = position;
        rendered = slots;
        renderer.restart();

        for (const auto slot : slots)
            if (blocks[slot].size() == 0)
                blocks[slot] = AlignedBuffer (static_cast<std::size_t> (blockFrames * shape.rate.hop));
    }

    /** numWanted: samples that will be read, for which the source is read ahead. */
    bool renderNext (std::size_t numWanted)
    {
        const auto blockLength = blockFrames * shape.rate.hop;

        if (nextFrame >= framesRead.end)
        {
            const auto numBlocks = std::clamp<std::int64_t> (
                static_cast<std::int64_t> (numWanted) / blockLength + 1, 1, mostBlocks);
            framesRead = { nextFrame, nextFrame + numBlocks * blockFrames };
            samples.resize (std::max (samples.size(), framesRead.numSamples (shape.rate)));

            if (! reader.signal.read (frameStart (nextFrame, shape.rate),
                                      { samples.data(), framesRead.numSamples (shape.rate) }))
            {
                end = first - 1; // holds nothing, reaches nowhere
                return false;
            }
        }

        renderer.setBlock (samples.data() + (nextFrame - framesRead.first) * shape.rate.hop,
                           { nextFrame, std::min (nextFrame + blockFrames, shape.numFrames) });

        const auto& [row, drumType, ownLength, components, level] = reader.track;

        for (const auto slot : rendered)
            if (areSums)
                renderer.renderSumOfBlock (
                    blocks[slot].data(), std::span (components).first (slot + 1), level.applyTo (1.0f));
            else
                renderer.renderBlock (blocks[slot].data(), static_cast<std::size_t> (components[slot]));

        blockStart = sampleOf (nextFrame);
        first = std::max (first, blockStart);
        end = blockStart + blockLength;
        nextFrame += blockFrames;
        return true;
    }

    static constexpr auto blockFrames = static_cast<std::int64_t> (BlockFft::numFrames);
    static constexpr std::int64_t mostBlocks = 4; // read at a time

    const ComponentReader& reader;
    const AnalysisShape& shape;
    ComponentRenderer renderer;
    std::array<AlignedBuffer, channelLayout::numBestComponents> blocks; // by slot
    std::vector<std::size_t> rendered;                                  // slots
    bool areSums = false;                                               // of the components up to each slot
    std::vector<float> samples;
    FrameRange framesRead;            // that the samples hold
    std::int64_t nextFrame = 0;       // that the next block begins with
    std::int64_t blockStart = 0;      // sample
    std::int64_t first = 0, end = -1; // samples that the block holds complete
};

ComponentReader::ComponentReader (std::shared_ptr<const Factorization> f,
                                  const Track& t,
                                  SampleSource& source)
    : factors (std::move (f)), track (t), signal (source, t.drumType, factors->shape, factors->data),
      bases (factors->bases.data() + t.row * method::numMelBands, factors->shape.melRows(), factors->data)
{
}

ComponentReader::~ComponentReader() = default;

std::unique_ptr<ComponentReader::Renderer> ComponentReader::take (std::int64_t position)
{
    const std::lock_guard lock (idleLock);
    auto found =
        std::ranges::find_if (idle, [&] (const auto& renderer) { return renderer->reaches (position); });

    if (found == idle.end() && ! idle.empty())
        found = idle.begin();

    if (found == idle.end())
        return nullptr;

    auto renderer = std::move (*found);
    idle.erase (found);
    return renderer;
}

bool ComponentReader::read (std::int64_t start, std::size_t n, const Signals& components)
{
    return read (start, n, components, false);
}

bool ComponentReader::readSums (std::int64_t start, std::size_t n, const Signals& sums)
{
    return read (start, n, sums, true);
}

bool ComponentReader::read (std::int64_t start, std::size_t n, const Signals& components, bool asSums)
{
    auto renderer = take (start);

    if (renderer == nullptr)
        renderer = std::make_unique<Renderer> (*this);

    const auto isRead = renderer->read (start, n, components, asSums);
    const std::lock_guard lock (idleLock);
    idle.push_back (std::move (renderer));
    return isRead;
}

} // namespace tessivar
