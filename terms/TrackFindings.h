#pragma once

#include <array>
#include <cstddef>
#include <optional>

namespace tessivar
{

/** How far the two independent estimates behind a suggested Focus agree. */
enum class Certainty
{
    unsure,
    fairlySure,
    sure
};

/** From these matches on, in dB, a suggestion is fairly sure or sure. */
inline constexpr double fairlySureMatchDb = 12.0, sureMatchDb = 20.0;

constexpr const char* certaintyText (Certainty certainty)
{
    return certainty == Certainty::sure         ? "sure"
           : certainty == Certainty::fairlySure ? "fairly sure"
                                                : "unsure";
}

/** What an analysis by the refined method found out about a track, beside its audio. */
struct TrackFindings
{
    static constexpr int numFocusSteps = 6; // 0..5

    std::array<double, numFocusSteps>
        focusMatchDb{};                             // standard output at Focus 0..5 against the masked track
    std::array<int, numFocusSteps> bestFocusUpTo{}; // for Focus f the best match among 0..f
    double leakageDb = 0.0;                         // leakage over own drum, estimated, whole track
    double maskedEnergyDb = 0.0;                    // masked track over track

    /** 0 where nothing should be removed; nothing after a standard analysis. */
    std::optional<double> suggestedFocus;

    bool operator== (const TrackFindings&) const = default;

    /** Match of the suggested Focus, in dB. A file may hold any number, so the index is kept in range. */
    [[nodiscard]] constexpr double bestMatchDb() const
    {
        const auto best = bestFocusUpTo.back();
        return focusMatchDb[static_cast<std::size_t> (best < 0               ? 0
                                                      : best < numFocusSteps ? best
                                                                             : numFocusSteps - 1)];
    }

    [[nodiscard]] constexpr Certainty certainty() const
    {
        const auto match = bestMatchDb();
        return match >= sureMatchDb         ? Certainty::sure
               : match >= fairlySureMatchDb ? Certainty::fairlySure
                                            : Certainty::unsure;
    }
};

} // namespace tessivar
