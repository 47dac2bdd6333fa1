#include "model/audiofile/PatchedInputStream.h"

#include "platform/FileStatus.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

namespace tessivar
{

namespace
{
constexpr std::size_t smallestPiece = 4096, largestPiece = 262144; // bytes
}

PatchedInputStream::PatchedInputStream (std::unique_ptr<juce::InputStream> sourceStream,
                                        std::function<bool()> shouldStop)
    : source (std::move (sourceStream)), stopRequested (std::move (shouldStop)),
      totalLength (source->getTotalLength())
{
}

std::unique_ptr<PatchedInputStream>
PatchedInputStream::open (const juce::File& file, juce::Result& why, std::function<bool()> shouldStop)
{
    // A pipe or a device would block the opening or never end.
    FileStatus status;
    if (const auto error = readStatus (file, status); ! status.isFile())
    {
        why = juce::Result::fail (error.failed() ? error.text() : juce::String ("not an ordinary file"));
        return nullptr;
    }

    auto stream = std::make_unique<juce::FileInputStream> (file);
    why = stream->getStatus();
    return why.wasOk() ? std::make_unique<PatchedInputStream> (std::move (stream), std::move (shouldStop))
                       : nullptr;
}

bool PatchedInputStream::setPosition (juce::int64 newPosition)
{
    if (newPosition < 0)
        return false;

    position = newPosition;
    return true;
}

int PatchedInputStream::read (void* destination, int maxBytes)
{
    auto* const bytes = static_cast<std::uint8_t*> (destination);
    const auto start = position;
    const auto wanted =
        static_cast<int> (std::clamp<juce::int64> (totalLength - start, 0, std::max (0, maxBytes)));
    const auto numRead = readFromSource (bytes, wanted);

    if (firstFailure->failed())
        errno = EIO; // by which the Vorbis library tells a failure from the end
    position += numRead > 0 ? numRead : std::max (0, maxBytes);

    for (const auto& patch : patches)
    {
        const auto from = std::max<std::int64_t> (start, patch.offset);
        const auto to = std::min<std::int64_t> (
            start + numRead, patch.offset + static_cast<std::int64_t> (patch.bytes.size()));
        for (auto i = from; i < to; ++i)
            bytes[i - start] = patch.bytes[static_cast<std::size_t> (i - patch.offset)];
    }

    return numRead;
}

/** All of the bytes, which the file is known to hold, or as many as came before the failure. */
int PatchedInputStream::readFromSource (std::uint8_t* bytes, int numBytes)
{
    if (numBytes == 0 || firstFailure->failed())
        return 0;

    if (stopRequested && stopRequested())
    {
        *firstFailure = juce::Result::fail ("stopped");
        return 0;
    }

    int done = 0;
    while (done < numBytes)
    {
        const auto place = position + done - aheadStart;
        if (place < 0 || place >= static_cast<juce::int64> (aheadSize))
        {
            readAhead (position + done);
            if (aheadSize == 0)
                break;
            continue;
        }

        const auto from = static_cast<std::size_t> (place);
        const auto count = std::min (static_cast<std::size_t> (numBytes - done), aheadSize - from);
        std::memcpy (bytes + done, ahead.data() + from, count);
        done += static_cast<int> (count);
    }

    if (done < numBytes)
    {
        juce::String reason;
        if (const auto* const file = dynamic_cast<juce::FileInputStream*> (source.get()))
            reason = file->getStatus().failed() ? file->getStatus().getErrorMessage()
                                                : "the file is shorter than it was";
        *firstFailure = juce::Result::fail ("the file can't be read at byte " + juce::String (position + done)
                                            + (reason.isNotEmpty() ? ": " + reason : juce::String()));
    }

    return done;
}

/** Fills the buffer from a position on that lies inside the file. */
void PatchedInputStream::readAhead (juce::int64 start)
{
    const auto follows = start == aheadStart + static_cast<juce::int64> (aheadSize);
    nextPiece = follows ? std::min (2 * nextPiece, largestPiece) : smallestPiece;
    nextPiece = std::max (nextPiece, smallestPiece);
    ahead.resize (std::max (ahead.size(), nextPiece));
    aheadStart = start;
    aheadSize = 0;

    const auto wanted = static_cast<std::size_t> (
        std::min<juce::int64> (static_cast<juce::int64> (nextPiece), totalLength - start));
    const auto isPlaced = source->getPosition() == start || source->setPosition (start);

    while (isPlaced && aheadSize < wanted)
    {
        const auto count = source->read (ahead.data() + aheadSize, static_cast<int> (wanted - aheadSize));

        if (count <= 0)
            break;

        aheadSize += static_cast<std::size_t> (count);
    }
}

} // namespace tessivar
