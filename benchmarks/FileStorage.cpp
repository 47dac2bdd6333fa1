#include "benchmarks/FileStorage.h"

#include "platform/Memory.h"
#include "terms/ChannelLayout.h"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tessivar::benchmarks
{

namespace
{
[[noreturn]] void fail (const std::string& path, int error)
{
    throw std::runtime_error (path + ": " + std::strerror (error));
}

/** Repeats a call that may transfer fewer bytes than asked for. */
template <typename Call>
bool moveAll (std::size_t numBytes, Call&& call)
{
    for (std::size_t done = 0; done < numBytes;)
    {
        const auto moved = call (done, numBytes - done);

        if (moved <= 0)
            return false;

        done += static_cast<std::size_t> (moved);
    }

    return true;
}
} // namespace

FloatFile::FloatFile (const std::string& path) : descriptor (open (path.c_str(), O_RDONLY | O_CLOEXEC))
{
    struct stat status
    {
    };

    if (descriptor < 0 || fstat (descriptor, &status) != 0)
        fail (path, errno);

    numFloats = static_cast<std::int64_t> (status.st_size) / 4;
}

FloatFile::FloatFile (const std::string& path, std::int64_t n)
    : descriptor (open (path.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600)), numFloats (n)
{
    if (descriptor < 0)
        fail (path, errno);

    if (const auto error = posix_fallocate (descriptor, 0, 4 * std::max (n, std::int64_t{ 1 })); error != 0)
    {
        close (descriptor);
        fail (path, error);
    }
}

FloatFile::~FloatFile()
{
    close (descriptor);
}

bool FloatFile::read (std::int64_t position, std::span<float> dest) const
{
    auto* bytes = reinterpret_cast<char*> (dest.data());
    return moveAll (
        dest.size_bytes(),
        [&] (std::size_t done, std::size_t left)
        { return pread (descriptor, bytes + done, left, 4 * position + static_cast<off_t> (done)); });
}

bool FloatFile::write (std::int64_t position, std::span<const float> values) const
{
    const auto* bytes = reinterpret_cast<const char*> (values.data());
    return moveAll (
        values.size_bytes(),
        [&] (std::size_t done, std::size_t left)
        { return pwrite (descriptor, bytes + done, left, 4 * position + static_cast<off_t> (done)); });
}

bool FileSource::read (std::int64_t start, std::span<float> dest)
{
    const auto size = static_cast<std::int64_t> (dest.size());
    const auto first = std::clamp (-start, std::int64_t{ 0 }, size);
    const auto end = std::clamp (lengthInSamples() - start, first, size);
    std::fill_n (dest.begin(), first, 0.0f);
    std::fill (dest.begin() + end, dest.end(), 0.0f);
    return file.read (
        start + first,
        dest.subspan (static_cast<std::size_t> (first), static_cast<std::size_t> (end - first)));
}

class FileStorage::Planes : public ScratchPlanes
{
public:
    Planes (const std::string& path, int numPlanes, std::int64_t lengthInSamples)
        : file (path, numPlanes * lengthInSamples), length (lengthInSamples)
    {
    }

    [[nodiscard]] bool write (int plane, std::int64_t start, std::span<const float> samples) override
    {
        return file.write (plane * length + start, samples);
    }

    [[nodiscard]] bool read (int plane, std::int64_t start, std::span<float> dest) override
    {
        return file.read (plane * length + start, dest);
    }

private:
    FloatFile file;
    const std::int64_t length;
};

class FileStorage::Result : public ComponentSink, public ComponentSource
{
public:
    Result (const std::string& path, std::int64_t lengthInSamples)
        : file (path, channelLayout::numBestComponents * lengthInSamples), length (lengthInSamples)
    {
    }

    [[nodiscard]] bool
    write (std::int64_t start, std::size_t n, const ComponentSink::Signals& components) override
    {
        auto isWritten = true;

        for (std::size_t c = 0; c < components.size(); ++c)
            if (components[c] != nullptr)
                isWritten =
                    isWritten
                    && file.write (static_cast<std::int64_t> (c) * length + start, { components[c], n });

        return isWritten;
    }

    [[nodiscard]] bool finish (ComponentLevel l) override
    {
        level = l;
        return true;
    }

    [[nodiscard]] std::int64_t lengthInSamples() const override { return length; }

    [[nodiscard]] bool
    read (std::int64_t start, std::size_t n, const ComponentSource::Signals& components) override
    {
        auto isRead = true;

        for (std::size_t c = 0; c < components.size(); ++c)
            if (components[c] != nullptr)
                isRead = isRead
                         && file.read (static_cast<std::int64_t> (c) * length + start, { components[c], n });

        return isRead;
    }

    void addTo (std::uint64_t& sum) const
    {
        const auto add = [&] (float value)
        { sum = (sum ^ std::bit_cast<std::uint32_t> (value)) * 0x100000001b3u; };
        add (level.gain);
        add (level.rescaling);
        std::vector<float> values (1u << 18);

        for (std::int64_t position = 0; position < file.size();)
        {
            const auto n = std::min (static_cast<std::int64_t> (values.size()), file.size() - position);
            const std::span<float> piece{ values.data(), static_cast<std::size_t> (n) };

            if (! file.read (position, piece))
                throw std::runtime_error ("a result cannot be read back");

            for (const auto value : piece)
                add (value);

            position += n;
        }
    }

private:
    FloatFile file;
    const std::int64_t length;
    ComponentLevel level;
};

FileStorage::FileStorage (std::string f, std::vector<std::int64_t> l)
    : folder (std::move (f)), lengths (std::move (l)), results (lengths.size())
{
}

FileStorage::~FileStorage() = default;

ScratchPlanes* FileStorage::spectrograms (int numPlanes, std::int64_t floatsPerPlane)
{
    const auto numBytes =
        static_cast<std::uint64_t> (numPlanes) * static_cast<std::uint64_t> (floatsPerPlane) * sizeof (float);

    if (MemoryPlanes::areWorth (numBytes, freeMemory().value_or (0)))
        spectrogramPlanes = std::make_unique<MemoryPlanes> (numPlanes, floatsPerPlane);
    else
        spectrogramPlanes = std::make_unique<Planes> (folder + "/spectrograms", numPlanes, floatsPerPlane);

    return spectrogramPlanes.get();
}

ComponentSink* FileStorage::rendered (int trackIndex)
{
    const auto i = static_cast<std::size_t> (trackIndex);
    results[i] = std::make_unique<Result> (folder + "/rendered" + std::to_string (trackIndex), lengths[i]);
    return results[i].get();
}

ComponentSource* FileStorage::standard (int trackIndex)
{
    return results[static_cast<std::size_t> (trackIndex)].get();
}

ComponentSink* FileStorage::refined (int trackIndex, const TrackFindings&)
{
    return rendered (trackIndex);
}

std::uint64_t FileStorage::checksum() const
{
    std::uint64_t sum = 0xcbf29ce484222325u;

    for (const auto& result : results)
        if (result != nullptr)
            result->addTo (sum);

    return sum;
}

} // namespace tessivar::benchmarks
