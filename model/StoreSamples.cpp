#include "model/StoreSamples.h"

#include <utility>

namespace tessivar
{

StoreSamples::StoreSamples (std::shared_ptr<StoreFile> fileToUse, int numChannels)
    : file (std::move (fileToUse)), channels (numChannels)
{
}

std::int64_t StoreSamples::lengthInFrames() const
{
    return static_cast<std::int64_t> (file->sizeInBytes() / bytesPerFrame());
}

bool StoreSamples::readFrames (std::int64_t start, std::span<float> dest)
{
    return file->read (static_cast<std::uint64_t> (start) * bytesPerFrame(), dest.data(), dest.size_bytes());
}

TrackSamples::Location StoreSamples::location() const
{
    return { file->path(), 0 };
}

} // namespace tessivar
