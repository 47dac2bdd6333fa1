#include "playback/Transport.h"

#include <algorithm>
#include <cmath>

namespace tessivar
{

namespace
{
std::int64_t samplesOf (double seconds, double sampleRate)
{
    return std::max<std::int64_t> (1, std::llround (seconds * sampleRate));
}
} // namespace

std::int64_t Transport::seamLength (const LoopRange& loop, double sampleRate)
{
    return std::min (samplesOf (seamSeconds, sampleRate), loop.length() / 2);
}

void Transport::setTimeline (std::int64_t lengthInSamples, double sampleRate)
{
    timelineLength = lengthInSamples;
    rate = sampleRate;
    fadeInLength = static_cast<int> (samplesOf (fadeInSeconds, rate));
    fadeOutLength = static_cast<int> (samplesOf (fadeOutSeconds, rate));
}

void Transport::reset (const TransportRequest& request)
{
    // A command to play that came while nobody rendered still counts.
    const auto play = request.playSerial != wanted.playSerial ? request.play : isPlaying();

    clock = request.seekSerial != wanted.seekSerial ? request.seekTo : position();
    jumpTo.reset();
    wanted = request;
    loop.reset();
    gain = 0.0f;
    waited = 0;
    state = play ? State::waiting : State::stopped;
    adoptLoop();
}

bool Transport::isPlaying() const
{
    return state == State::waiting || state == State::playing || (state == State::fadingOut && resumes);
}

void Transport::adopt (const TransportRequest& request)
{
    const auto newPlay = request.playSerial != wanted.playSerial;
    const auto newSeek = request.seekSerial != wanted.seekSerial;
    wanted = request;

    if (newSeek && isSilent())
    {
        clock = wanted.seekTo;
        waited = 0;
    }
    else if (newSeek)
    {
        jumpTo = wanted.seekTo;

        if (state == State::playing)
            fadeOut (true);
    }

    if (newPlay && wanted.play)
    {
        if (state == State::stopped)
        {
            waited = 0;
            state = State::waiting;
        }

        resumes = true;
    }
    else if (newPlay)
    {
        if (state == State::waiting)
            state = State::stopped;
        else if (state == State::playing)
            fadeOut (false);

        resumes = false;
    }

    adoptLoop();
}

void Transport::adoptLoop()
{
    if (loop == wanted.loop)
        return;

    // A fade at a seam runs to its end before the loop may change.
    if (loop && clock < loop->end && clock > loop->end - seamLength (*loop, rate) && ! isSilent())
        return;

    const auto& next = wanted.loop;

    const auto isTooShort = next && next->length() < samplesOf (shortestLoopSeconds, rate);
    const auto isTooLate =
        next && clock > next->end - seamLength (*next, rate) && clock < next->end && ! isSilent();

    if (isTooShort || isTooLate)
        loop.reset();
    else
        loop = next;
}

std::optional<LoopRange> Transport::loopAhead() const
{
    return loop && clock < loop->end ? loop : std::nullopt;
}

void Transport::fadeOut (bool andResume)
{
    resumes = andResume;
    state = State::fadingOut;
    fadeRemaining = fadeOutLength;
}

void Transport::interrupt()
{
    if (state == State::playing)
        fadeOut (true);
}

void Transport::fallSilent()
{
    gain = 0.0f;
    fadeRemaining = 0;
    waited = 0;
    clock = position();
    jumpTo.reset();
    state = resumes ? State::waiting : State::stopped;
}

void Transport::begin()
{
    if (state != State::waiting)
        return;

    if (clock >= timelineLength)
    {
        state = State::stopped;
        return;
    }

    state = State::playing;
    gain = 0.0f;
    fadeRemaining = fadeInLength;
}

void Transport::shapeSeam (Segment& segment) const
{
    const auto ahead = loopAhead();

    if (! ahead)
        return;

    const auto seam = seamLength (*ahead, rate);
    const auto seamStart = ahead->end - seam;
    const auto limit = clock < seamStart ? seamStart - clock : ahead->end - clock;
    segment.length = static_cast<int> (std::min<std::int64_t> (segment.length, limit));

    if (clock < seamStart)
        return;

    segment.seamPosition = clock - ahead->length();
    segment.seamStep = 1.0f / static_cast<float> (seam);
    segment.seamPhase = (static_cast<float> (clock - seamStart) + 0.5f) * segment.seamStep;
}

Transport::Segment Transport::next (int maxLength)
{
    Segment segment;
    segment.length = maxLength;
    segment.position = clock;

    if (isSilent())
    {
        waited += state == State::waiting ? maxLength : 0;
        return segment;
    }

    adoptLoop();
    segment.isSounding = true;

    if (fadeRemaining > 0)
        segment.length = std::min (segment.length, fadeRemaining);

    shapeSeam (segment);

    if (clock < timelineLength)
        segment.length = static_cast<int> (std::min<std::int64_t> (segment.length, timelineLength - clock));

    if (fadeRemaining > 0)
    {
        const auto aim = state == State::fadingOut ? 0.0f : 1.0f;
        segment.gainStep = (aim - gain) / static_cast<float> (fadeRemaining);
    }

    segment.gain = gain;
    advance (segment.length);
    return segment;
}

void Transport::advance (int length)
{
    const auto ahead = loopAhead();
    clock += length;

    if (ahead && clock >= ahead->end)
        clock = ahead->start;

    if (fadeRemaining > 0)
    {
        const auto aim = state == State::fadingOut ? 0.0f : 1.0f;
        gain += (aim - gain) * static_cast<float> (length) / static_cast<float> (fadeRemaining);
        fadeRemaining -= length;

        if (fadeRemaining == 0)
        {
            if (state == State::fadingOut)
                return fallSilent();

            gain = 1.0f;
        }
    }

    if (clock >= timelineLength)
    {
        clock = timelineLength;
        resumes = jumpTo.has_value() && isPlaying();
        fallSilent();
    }
}

} // namespace tessivar
