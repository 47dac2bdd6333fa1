#include "engine/refinement/SilentFrames.h"

#include <algorithm>

namespace tessivar
{

namespace
{
constexpr double silencePower = 1.0e-12, cutPower = 1.0e-5; // of the loudest frame's
constexpr std::size_t margin = 4;                           // frames that overlap, with means of three
constexpr std::uint8_t silent = 1, muted = 2;
} // namespace

SilentFrames::SilentFrames (std::int64_t signalLength, const RateParameters& rate)
    : first (static_cast<std::size_t> (rate.frameLength / rate.hop)),
      end (std::max (first, static_cast<std::size_t> (signalLength / rate.hop) + 1)),
      shortestMute (static_cast<std::size_t> (rate.sampleRate / rate.hop))
{
}

std::vector<std::uint8_t> SilentFrames::find (std::span<const float> powers) const
{
    if (first >= end)
        return {};

    const auto loudest = static_cast<double> (*std::max_element (powers.begin(), powers.end()));
    const auto isSilent = [most = silencePower * loudest] (float power)
    { return static_cast<double> (power) <= most; };
    const auto inSignal = powers.subspan (first, end - first);

    if (std::none_of (inSignal.begin(), inSignal.end(), isSilent))
        return {};

    std::vector<std::uint8_t> found (powers.size());

    for (auto t = first; t < end;)
    {
        auto next = t;

        while (next < end && isSilent (powers[next]))
            ++next;

        // The last frame that holds no sample of the silence, not even by the mean of three.
        const auto before = std::max (t, margin + 2) - margin - 2;
        const auto isCut =
            next - t >= shortestMute && static_cast<double> (powers[before]) > cutPower * loudest;
        std::fill (found.begin() + static_cast<std::ptrdiff_t> (t),
                   found.begin() + static_cast<std::ptrdiff_t> (next),
                   isCut ? muted : silent);
        t = std::max (next, t + 1);
    }

    return found;
}

void SilentFrames::add (std::span<const float> powers)
{
    flags.push_back (find (powers));
}

void SilentFrames::settle()
{
    const auto areAllSilent = [&] (std::size_t t)
    {
        return std::all_of (
            flags.begin(), flags.end(), [t] (const auto& track) { return ! track.empty() && track[t] != 0; });
    };
    std::vector<std::uint8_t> ofGroup (end);

    for (auto t = first; t < end; ++t)
        ofGroup[t] = areAllSilent (t) ? 1 : 0;

    const auto numCommon = static_cast<std::size_t> (std::count (ofGroup.begin(), ofGroup.end(), 1));
    const auto groupsTime = end - first - numCommon;

    for (auto& track : flags)
    {
        if (track.empty())
            continue;

        std::size_t numMuted = 0;

        for (auto t = first; t < end; ++t)
            numMuted += ofGroup[t] == 0 && track[t] == muted ? 1 : 0;

        const auto isMuted = numMuted > 0 && 2 * numMuted < groupsTime;

        for (auto t = first; t < end; ++t)
            track[t] = ofGroup[t] != 0 || (isMuted && track[t] == muted) ? 1 : 0;

        if (! isMuted && numCommon == 0)
            track.clear();
    }

    if (numCommon > 0)
    {
        common = std::move (ofGroup);
        common.resize (flags[0].size());
    }
}

bool SilentFrames::isNear (std::size_t track, std::size_t frame) const
{
    if (! isEverSilent (track))
        return false;

    const auto ofTrack = std::span (flags[track]);
    const auto from = std::max (frame, margin) - margin;
    const auto nearby = ofTrack.subspan (from, std::min (ofTrack.size(), frame + margin + 1) - from);
    return std::any_of (nearby.begin(), nearby.end(), [] (std::uint8_t flag) { return flag != 0; });
}

std::size_t SilentFrames::numSounding (std::size_t track, std::size_t numFrames) const
{
    if (! isEverSilent (track))
        return numFrames;

    return numFrames - static_cast<std::size_t> (std::count (flags[track].begin(), flags[track].end(), 1));
}

std::vector<std::uint32_t> SilentFrames::soundingFrames() const
{
    std::vector<std::uint32_t> frames;

    for (std::size_t t = 0; t < common.size(); ++t)
        if (common[t] == 0)
            frames.push_back (static_cast<std::uint32_t> (t));

    return frames;
}

void moveToFront (MatrixView<float> matrix, std::span<const std::uint32_t> columns)
{
    for (std::size_t n = 0; n < columns.size(); ++n)
        if (n != columns[n])
            std::copy_n (matrix.column (columns[n]), matrix.rows, matrix.column (n));
}

void moveBack (MatrixView<float> matrix, std::span<const std::uint32_t> columns)
{
    auto end = matrix.columns;

    for (auto n = columns.size(); n-- > 0;)
    {
        const auto to = static_cast<std::size_t> (columns[n]);

        if (n != to)
            std::copy_n (matrix.column (n), matrix.rows, matrix.column (to));

        std::fill (matrix.column (to) + matrix.rows, matrix.column (0) + end * matrix.rows, 0.0f);
        end = to;
    }

    std::fill (matrix.column (0), matrix.column (0) + end * matrix.rows, 0.0f);
}

} // namespace tessivar
