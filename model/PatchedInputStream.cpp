#include "model/PatchedInputStream.h"

#include <utility>

namespace tessivar
{

PatchedInputStream::PatchedInputStream (std::unique_ptr<juce::InputStream> sourceStream,
                                        std::vector<HeaderPatch> headerPatches)
    : source (std::move (sourceStream)), patches (std::move (headerPatches))
{
    jassert (source != nullptr);
}

int PatchedInputStream::read (void* destination, int maxBytes)
{
    const auto start = source->getPosition();
    const auto numRead = source->read (destination, maxBytes);
    if (numRead < maxBytes)
        shortRead = true;

    auto* const bytes = static_cast<std::uint8_t*> (destination);
    for (const auto& patch : patches)
    {
        const auto from = juce::jmax<std::int64_t> (start, patch.offset);
        const auto to = juce::jmin<std::int64_t> (
            start + numRead, patch.offset + static_cast<std::int64_t> (patch.bytes.size()));
        for (auto position = from; position < to; ++position)
            bytes[position - start] = patch.bytes[static_cast<std::size_t> (position - patch.offset)];
    }

    return numRead;
}

bool PatchedInputStream::takeShortRead()
{
    return std::exchange (shortRead, false);
}

} // namespace tessivar
