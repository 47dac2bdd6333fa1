#include "engine/ComponentReader.h"

#include <algorithm>
#include <utility>

namespace tessivar
{

/** Renders segments, and keeps the last one. */
class ComponentReader::Renderer
{
public:
    explicit Renderer (const ComponentReader& r)
        : reader (r), renderer (r.bases,
                                { r.factors->activations.data(),
                                  channelLayout::numComponents,
                                  static_cast<std::size_t> (r.factors->shape.numFrames) },
                                r.factors->data)
    {
    }

    [[nodiscard]] bool holds (std::int64_t position) const
    {
        return position >= segment.first && position < end();
    }

    /** Copies what the segment around position holds of n samples, and says how many; 0 when the source can't be
        read. */
    [[nodiscard]] std::size_t
    copy (std::int64_t position, std::size_t n, std::size_t offset, const Signals& components)
    {
        if (! render (position, components))
            return 0;

        const auto count = std::min (n, static_cast<std::size_t> (end() - position));

        for (std::size_t slot = 0; slot < components.size(); ++slot)
            if (components[slot] != nullptr)
                std::copy_n (segment.component (static_cast<std::size_t> (reader.track.slots[slot]))
                                 + (position - segment.first),
                             count,
                             components[slot] + offset);

        return count;
    }

private:
    [[nodiscard]] std::int64_t end() const
    {
        return segment.first + static_cast<std::int64_t> (segment.length);
    }

    /** Sees to it that the segment around position is there with these components. */
    [[nodiscard]] bool render (std::int64_t position, const Signals& components)
    {
        std::vector<int> wanted;

        for (std::size_t slot = 0; slot < components.size(); ++slot)
            if (components[slot] != nullptr)
                wanted.push_back (reader.track.slots[slot]);

        if (holds (position)
            && std::ranges::all_of (wanted, [&] (int k) { return std::ranges::count (rendered, k) > 0; }))
            return true;

        const auto& shape = reader.factors->shape;
        rendered = wanted;

        if (renderer.renderSegment (reader.signal,
                                    ComponentRenderer::segmentAt (shape, position),
                                    shape,
                                    { rendered, false },
                                    segment))
            return true;

        segment.length = 0; // holds nothing
        return false;
    }

    const ComponentReader& reader;
    ComponentRenderer renderer;
    ComponentRenderer::Segment segment;
    std::vector<int> rendered; // components that it holds
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
        std::ranges::find_if (idle, [&] (const auto& renderer) { return renderer->holds (position); });

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
    auto renderer = take (start);

    if (renderer == nullptr)
        renderer = std::make_unique<Renderer> (*this);

    std::size_t done = 0;

    while (done < n)
    {
        const auto count =
            renderer->copy (start + static_cast<std::int64_t> (done), n - done, done, components);

        if (count == 0)
            break;

        done += count;
    }

    const std::lock_guard lock (idleLock);
    idle.push_back (std::move (renderer));
    return done == n;
}

} // namespace tessivar
