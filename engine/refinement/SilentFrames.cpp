#include "engine/refinement/SilentFrames.h"

#include <algorithm>

namespace tessivar
{

namespace
{
constexpr double silencePower = 1.0e-10; // of the loudest frame's

template <typename Power>
std::vector<std::uint8_t> silenceIn (std::span<const Power> powers, FrameRange within)
{
    const auto first = static_cast<std::size_t> (within.first), end = static_cast<std::size_t> (within.end);

    if (first >= end || powers.empty())
        return {};

    const auto loudest = *std::max_element (powers.begin(), powers.end());
    const auto isSilent = [most = silencePower * static_cast<double> (loudest)] (Power power)
    { return static_cast<double> (power) <= most; };
    const auto inSignal = powers.subspan (first, end - first);

    if (std::none_of (inSignal.begin(), inSignal.end(), isSilent))
        return {};

    std::vector<std::uint8_t> flags (powers.size());
    std::transform (inSignal.begin(),
                    inSignal.end(),
                    flags.begin() + within.first,
                    [&] (Power power) { return static_cast<std::uint8_t> (isSilent (power)); });
    return flags;
}
} // namespace

void SilentFrames::add (std::span<const double> powers, FrameRange within)
{
    flags.push_back (silenceIn (powers, within));
}

void SilentFrames::add (std::span<const float> powers, FrameRange within)
{
    flags.push_back (silenceIn (powers, within));
}

std::vector<std::uint32_t> SilentFrames::soundingFrames (std::size_t numFrames) const
{
    if (std::any_of (flags.begin(), flags.end(), [] (const auto& track) { return track.empty(); }))
        return {};

    std::vector<std::uint32_t> frames;

    for (std::size_t t = 0; t < numFrames; ++t)
        if (std::any_of (flags.begin(), flags.end(), [t] (const auto& track) { return track[t] == 0; }))
            frames.push_back (static_cast<std::uint32_t> (t));

    if (frames.size() == numFrames)
        frames.clear();

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
