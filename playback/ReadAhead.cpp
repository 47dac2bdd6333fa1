#include "playback/ReadAhead.h"

#include "playback/Transport.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <new>

namespace tessivar
{

namespace
{
constexpr int maxBytesPerRead = 1 << 20;
constexpr int idleMilliseconds = 10, stoppedMilliseconds = 50;
constexpr int retryMilliseconds = 250;
constexpr std::int64_t pageLength = FramePages::framesPerPage;

// A fade out, and the blocks that a device requests before it, still sound while the read-ahead is elsewhere.
constexpr int pagesOfFade = 3;
} // namespace

ReadAheadSettings ReadAheadSettings::sanitised() const
{
    const auto clean = std::isfinite (seconds) ? seconds : ReadAheadSettings().seconds;
    return { std::clamp (clean, 0.5, 30.0), std::clamp (framesPerRead, 8192, 65536) };
}

std::int64_t ReadAheadSettings::framesAhead (double sampleRate) const
{
    return std::max<std::int64_t> (2 * pageLength, std::llround (seconds * sampleRate));
}

int ReadAheadSettings::numPages (double sampleRate) const
{
    // Besides whole pages: one for each end, two where a loop leads back, and what still sounds before a
    // jump.
    return static_cast<int> (framesAhead (sampleRate) / pageLength) + 5 + pagesOfFade;
}

int ReadAheadSettings::framesPerReadOf (int numChannels) const
{
    const auto most = maxBytesPerRead / static_cast<int> (sizeof (float)) / numChannels;
    return std::max (1, std::min (framesPerRead, most) / FramePages::framesPerPage)
           * FramePages::framesPerPage;
}

ReadAhead::ReadAhead (const ReadAheadSettings& readAheadSettings, Clock transportClock)
    : settings (readAheadSettings), clock (std::move (transportClock))
{
}

void ReadAhead::setTracks (std::vector<std::shared_ptr<PlayingTrack>> newTracks, double newSampleRate)
{
    const std::scoped_lock lock (tracksLock);
    tracks.swap (newTracks);
    sampleRate = newSampleRate;
}

void ReadAhead::setLoop (const std::optional<LoopRange>& newLoop)
{
    const std::scoped_lock lock (tracksLock);
    loop = newLoop;
}

int ReadAhead::useTimeSlice()
{
    auto didRead = false;

    try
    {
        didRead = readOnce();
    }
    catch (const std::bad_alloc&)
    {
        return retryMilliseconds; // the thread would end, and nothing be heard until the next start
    }

    const auto again = sliceRequested.exchange (false, std::memory_order_acq_rel);

    if (didRead || again)
        return 0;

    return clock.isRunning() ? idleMilliseconds : stoppedMilliseconds;
}

bool ReadAhead::readOnce()
{
    const auto piece = mostUrgent();

    if (! piece)
        return false;

    read (*piece);
    return true;
}

std::vector<std::int64_t> ReadAhead::wantedPages (const PlayingTrack& track, std::int64_t position) const
{
    std::vector<std::int64_t> result;
    auto remaining = settings.framesAhead (sampleRate);

    const auto add = [&] (std::int64_t from, std::int64_t to)
    {
        to = std::min (to, from + remaining);
        remaining -= std::max<std::int64_t> (0, to - from);
        to = std::min (to, track.pages.lengthInFrames());

        for (auto page = FramePages::pageOf (from); page * pageLength < to; ++page)
            if (std::find (result.begin(), result.end(), page) == result.end())
                result.push_back (page);
    };

    if (! loop || position >= loop->end)
    {
        add (position, INT64_MAX / 2);
        return result;
    }

    add (position, loop->end);

    if (remaining > 0)
        add (std::max<std::int64_t> (0, loop->start - Transport::seamLength (*loop, sampleRate)), loop->end);

    return result;
}

std::optional<ReadAhead::Piece>
ReadAhead::nextPiece (const std::shared_ptr<PlayingTrack>& track, std::int64_t position, bool isRunning) const
{
    auto wanted = wantedPages (*track, position);
    const auto isMissing = [&] (std::int64_t page) { return ! track->pages.contains (page); };
    const auto first = std::find_if (wanted.begin(), wanted.end(), isMissing);

    if (first == wanted.end())
        return std::nullopt;

    const auto most = settings.framesPerReadOf (track->pages.numChannels()) / FramePages::framesPerPage;
    auto last = first + 1;

    while (last != wanted.end() && last - first < most && *last == *(last - 1) + 1 && isMissing (*last))
        ++last;

    Piece piece;
    piece.track = track;
    piece.firstPage = *first;
    piece.numPages = static_cast<int> (last - first);
    piece.distance = (first - wanted.begin()) * pageLength;

    // A piece at the edge of the wanted range grows with time; a few large reads cost a disk less than many
    // small ones.
    const auto isWhole = piece.numPages == most || last != wanted.end()
                         || (*(last - 1) + 1) * pageLength >= track->pages.lengthInFrames();
    const auto hasTime = piece.distance > settings.framesAhead (sampleRate) / 2;

    if (isRunning && ! isWhole && hasTime)
        return std::nullopt;

    piece.wanted = std::move (wanted);
    return piece;
}

std::optional<ReadAhead::Piece> ReadAhead::mostUrgent()
{
    const auto position = clock.position();
    const auto isRunning = clock.isRunning();
    const auto now = juce::Time::getMillisecondCounter();
    std::optional<Piece> best;
    bool bestIsAudible = false;

    const std::scoped_lock lock (tracksLock);

    for (const auto& track : tracks)
    {
        if (track->retryTime != 0 && static_cast<std::int32_t> (now - track->retryTime) < 0)
            continue;

        const auto isAudible = track->isAudible.load (std::memory_order_relaxed);

        if (best && bestIsAudible && ! isAudible)
            continue;

        auto piece = nextPiece (track, position, isRunning);

        if (piece && (! best || (isAudible && ! bestIsAudible) || piece->distance < best->distance))
        {
            best = std::move (piece);
            bestIsAudible = isAudible;
        }
    }

    return best;
}

void ReadAhead::read (const Piece& piece)
{
    auto& track = *piece.track;
    const auto start = piece.firstPage * pageLength;
    const auto count = std::min (piece.numPages * pageLength, track.pages.lengthInFrames() - start);
    const auto numChannels = static_cast<std::size_t> (track.pages.numChannels());
    frames.resize (static_cast<std::size_t> (count) * numChannels);

    if (! track.samples->readFrames (start, frames))
    {
        track.failedReads.fetch_add (1, std::memory_order_relaxed);
        track.retryTime =
            std::max (1u, juce::Time::getMillisecondCounter() + std::uint32_t{ retryMilliseconds });
        return;
    }

    track.retryTime = 0;
    const auto position = clock.position();
    const auto sounding = FramePages::pageOf (clock.sounding());
    const auto victimDistance = [&] (std::int64_t page) -> std::int64_t
    {
        if (page >= sounding && page < sounding + pagesOfFade)
            return -1;

        if (std::find (piece.wanted.begin(), piece.wanted.end(), page) != piece.wanted.end())
            return -1;

        return std::abs (page * pageLength - position);
    };

    const auto floatsPerPage = static_cast<std::size_t> (pageLength) * numChannels;

    for (int i = 0; i < piece.numPages; ++i)
    {
        const auto rest =
            std::span<const float> (frames).subspan (static_cast<std::size_t> (i) * floatsPerPage);
        track.pages.put (
            piece.firstPage + i, rest.first (std::min (rest.size(), floatsPerPage)), victimDistance);
    }
}

} // namespace tessivar
