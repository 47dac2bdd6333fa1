#pragma once

#include "model/SourceChunks.h"
#include "model/TrackRecord.h"
#include "model/TrackSamples.h"
#include "terms/AnalysisMethod.h"
#include "terms/BleedMap.h"
#include "terms/DrumType.h"
#include "terms/MixStrip.h"
#include "terms/TrackFindings.h"

#include <juce_core/juce_core.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace tessivar
{

class StoreFile;

/** What decides over the result of an analysis, per track. */
struct AnalysisInput
{
    DrumType drumType = DrumType::other;
    bool excluded = false;

    bool operator== (const AnalysisInput&) const = default;
};

/** What the file was that a track came from, when it was read in. It may have moved since: samples are the
    track's own.
*/
struct SourceInfo
{
    juce::File file;         // none for a track of a group file that another program wrote
    int channel = 0;         // 0-based
    int numChannels = 1;     // of the file
    double sampleRate = 0.0; // Hz
    int bitsPerSample = 0;   // 8, 12, 16, 20, 24 or 32
    bool isFloatingPoint = false;
    juce::StringPairArray metadata;             // as its reader gave it
    std::shared_ptr<const SourceChunks> chunks; // null when they are too large to keep, or unknown
};

/** Everything about one track, as a value: what jobs work on, files hold and steps of undo compare.

    The samples are shared, not copied; nobody writes to them once they are here.
*/
struct TrackState
{
    std::uint32_t id = 0;        // of this track within the process; a copy of the track has another
    std::uint32_t contentId = 0; // within the process: another one whenever the samples are others
    TrackRecord record;          // knobs, A/B, drum type, processed flag, length
    juce::String name;
    bool excluded = false;
    bool knobsTouched = false; // by the user: from then on no analysis moves them
    bool typeUnknown = false;  // Other for want of anything better: neither the name nor the user told
    MixStrip strip;            // sanitised

    SourceInfo sourceInfo;
    std::shared_ptr<TrackSamples> source;   // one channel; null until it is read in, or when it is lost
    std::shared_ptr<TrackSamples> rendered; // seven channels; null unless processed

    /** Ten planes of floats, best first, in the byte order of this machine; null unless an analysis kept
        them.
    */
    std::shared_ptr<StoreFile> components;

    std::optional<AnalysisInput> analysedAs; // nothing for a track that was in no analysis yet
    TrackFindings findings;

    std::uint32_t fileWord = 0;              // the track's 32-bit value in a group file
    juce::StringPairArray unknownProperties; // of a group file, by programs that know more than this one

    [[nodiscard]] std::int64_t lengthInSamples() const { return record.lengthInSamples(); }
    [[nodiscard]] double sampleRate() const { return sourceInfo.sampleRate; } // Hz
    [[nodiscard]] DrumType drumType() const { return record.drumType(); }
    [[nodiscard]] KnobValues soundingKnobs() const { return record.knobs (record.selected()); }
    [[nodiscard]] AnalysisInput analysisInput() const { return { drumType(), excluded }; }

    /** Whether an analysis renders this track; all others pass through unchanged. */
    [[nodiscard]] bool takesPart() const { return ! excluded && isRenderedType (drumType()); }

    /** The type that the track is offered, as it sounds like it and nobody has told another one. */
    [[nodiscard]] std::optional<DrumType> offeredType() const
    {
        return typeUnknown ? findings.soundsLike : std::nullopt;
    }

    /** Whether what is played and exported is rendered, and not the source as it is. */
    [[nodiscard]] bool hasProcessedOutput() const { return rendered != nullptr && takesPart(); }

    /** Whether this and another track of the Group hear the same drum, as the last analysis found. */
    [[nodiscard]] bool sharesDrumWith (const TrackState& other) const
    {
        return hasProcessedOutput() && other.hasProcessedOutput() && findings.sharedDrum > 0
               && findings.sharedDrum == other.findings.sharedDrum;
    }

    /** Whether another column of the bleed map is this microphone's drum, too: of a second microphone on
        it, or of a copy of the track. */
    [[nodiscard]] bool hearsDrumOf (const TrackState& other) const
    {
        return findings.bleedPlace == other.findings.bleedPlace || sharesDrumWith (other);
    }
};

/** Everything about a Group, as a value. */
struct GroupState
{
    juce::String name;
    AnalysisMethod method = AnalysisMethod::standard; // chosen for the next analysis
    std::vector<TrackState> tracks;

    /** The last analysis that the tracks' rendered samples come from. */
    struct Analysis
    {
        AnalysisMethod method = AnalysisMethod::standard;
        std::uint64_t seed = 1;
        int numTracks = 0; // of the Group at that time

        /** Null after a standard analysis, and in files of earlier versions. */
        std::shared_ptr<const BleedMap> bleed{};

        bool operator== (const Analysis& other) const
        {
            return method == other.method && seed == other.seed && numTracks == other.numTracks
                   && (bleed == other.bleed
                       || (bleed != nullptr && other.bleed != nullptr && *bleed == *other.bleed));
        }
    };

    std::optional<Analysis> analysis;
    juce::StringPairArray unknownProperties; // of a group file, by programs that know more than this one
    juce::String foreignText;                // the text of a group file that another program wrote

    /** Hz, of the first track; 0 when there is none. */
    [[nodiscard]] double sampleRate() const { return tracks.empty() ? 0.0 : tracks.front().sampleRate(); }

    /** The track's row and column in the analysis's bleed map; nothing where it has none. */
    [[nodiscard]] std::optional<std::size_t> bleedPlaceOf (const TrackState& track) const
    {
        const auto place = track.findings.bleedPlace;
        return analysis && analysis->bleed != nullptr && place && *place < analysis->bleed->numDrums()
                   ? place
                   : std::nullopt;
    }

    /** Names of the other tracks that hear the same drum. */
    [[nodiscard]] juce::StringArray namesSharingDrumWith (std::size_t track) const;

    /** The method that an analysis works by: the chosen one, but the standard one for a single active track,
        as the refined method compares microphones with each other.
    */
    [[nodiscard]] AnalysisMethod workableMethod() const;

    /** Whether an analysis would give something else than the last one did; true when there was none. */
    [[nodiscard]] bool changedSinceAnalysis() const;
};

/** What the tracks of a Group are asked before an analysis. */
struct GroupContents
{
    int numActiveTracks = 0; // not excluded
    bool hasAnalysableCloseMicrophone = false;
    bool hasHiHat = false; // of active tracks, as the next two
    bool hasKick = false;
    bool hasSnare = false;

    void add (DrumType type, bool excluded);

    /** Whether there are microphones to compare with each other. */
    [[nodiscard]] bool hasSeveralMicrophones() const { return numActiveTracks > 1; }

    /** A HiHat is told by a Kick or Snare; without either it can't be analysed. */
    [[nodiscard]] bool breaksHiHatRule() const { return hasHiHat && ! hasKick && ! hasSnare; }

    [[nodiscard]] static GroupContents of (const GroupState& state);
};

} // namespace tessivar
