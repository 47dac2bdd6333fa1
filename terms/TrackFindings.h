#pragma once

#include "terms/DrumType.h"

#include <array>
#include <cstddef>
#include <optional>

namespace tessivar
{

/** Whether what an analysis would remove from a track is leakage. */
enum class Certainty
{
    unsure,
    fairlySure,
    sure
};

/** From these on a suggestion is fairly sure or sure, the latter with so many hits and such a match in dB at
    least. */
inline constexpr double fairlySureConfidence = 0.8, sureConfidence = 0.97;
inline constexpr int sureHits = 4;
inline constexpr double fairlySureMatchDb = 12.0;

inline constexpr double sureMatchDb = 20.0; // for results of earlier versions, without a confidence

/** Below this match no output of the standard method holds the masked drum: mask and outputs contradict each
    other, as where a drum never plays. Drums that play were seen from 4.4 dB on. */
inline constexpr double contradictionDb = 4.0;

constexpr const char* certaintyText (Certainty certainty)
{
    return certainty == Certainty::sure         ? "sure"
           : certainty == Certainty::fairlySure ? "fairly sure"
                                                : "unsure";
}

/** How far independent estimates of a track's leakage agree with what its mask would take from it. */
struct BenefitEvidence
{
    static constexpr double nothingDb = -100.0;

    /** Correlation (-1..1) of what the subtraction takes with what the mask would take: leakage is a filtered
        copy of other drums, drums that are hit together are not. 0 where nothing is subtracted. */
    double subtractionAgreement = 0.0;

    /** The same of what the best output of the standard method leaves out. */
    double outputAgreement = 0.0;

    double subtractedDb = nothingDb; // what the subtraction takes, against what the mask would take

    bool operator== (const BenefitEvidence&) const = default;
};

/** What an analysis found out about a track, beside its audio; the standard method only what it sounds like.
*/
struct TrackFindings
{
    static constexpr int numFocusSteps = 6;             // 0..5
    static constexpr double faintestLeakageDb = -100.0; // what is softer is none

    std::array<double, numFocusSteps>
        focusMatchDb{};                             // standard output at Focus 0..5 against the masked track
    std::array<int, numFocusSteps> bestFocusUpTo{}; // for Focus f the best match among 0..f
    double leakageDb = 0.0;                         // leakage over own drum, estimated, whole track
    double maskedEnergyDb = 0.0;                    // masked track over track

    /** Above 0 and the same for tracks of a Group that hear one drum; 0 for a drum of its own. */
    int sharedDrum = 0;

    /** The track's row and column in the bleed map of its Group's analysis. */
    std::optional<std::size_t> bleedPlace;

    BenefitEvidence benefit; // beside other findings what confidence is made of

    /** Clear onsets of its own drum; nothing in results of earlier versions, as the following. */
    std::optional<int> numHits;

    /** How likely it is that what the analysis removes is leakage, 0..1; as far as this it removes
        it. */
    std::optional<double> confidence;

    /** 0 where nothing should be removed; nothing after a standard analysis. */
    std::optional<double> suggestedFocus;

    /** The drum that a track of an untold type sounds like; nothing where that is unsure. */
    std::optional<DrumType> soundsLike;

    bool operator== (const TrackFindings&) const = default;

    /** Whether leakage was found; a microphone alone has none. */
    [[nodiscard]] constexpr bool hasLeakage() const { return leakageDb > faintestLeakageDb; }

    /** Match of the suggested Focus, in dB. A file may hold any number, so the index is kept in range. */
    [[nodiscard]] constexpr double bestMatchDb() const
    {
        const auto best = bestFocusUpTo.back();
        return focusMatchDb[static_cast<std::size_t> (best < 0               ? 0
                                                      : best < numFocusSteps ? best
                                                                             : numFocusSteps - 1)];
    }

    /** Match of the best standard output other than the source, in dB. */
    [[nodiscard]] constexpr double bestOutputMatchDb() const
    {
        auto best = focusMatchDb[1];

        for (std::size_t f = 2; f < focusMatchDb.size(); ++f)
            best = focusMatchDb[f] > best ? focusMatchDb[f] : best;

        return best;
    }

    [[nodiscard]] constexpr Certainty certainty() const
    {
        if (! confidence)
        {
            const auto match = bestMatchDb();
            return match >= sureMatchDb         ? Certainty::sure
                   : match >= fairlySureMatchDb ? Certainty::fairlySure
                                                : Certainty::unsure;
        }

        const auto match = bestOutputMatchDb();

        if (*confidence < fairlySureConfidence || match < contradictionDb)
            return Certainty::unsure;

        return *confidence >= sureConfidence && numHits.value_or (0) >= sureHits && match >= fairlySureMatchDb
                   ? Certainty::sure
                   : Certainty::fairlySure;
    }
};

} // namespace tessivar
