#pragma once

#include "model/TrackRecord.h"
#include "model/TrackSamples.h"
#include "model/audiofile/SourceChunks.h"
#include "terms/AnalysisMethod.h"
#include "terms/DrumType.h"
#include "terms/TrackFindings.h"

#include <juce_core/juce_core.h>

#include <array>
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

    // Of the file it came from. It may have moved since: the samples are the track's own.
    juce::File sourceFile;
    int channel = 0;           // 0-based, within that file
    int numSourceChannels = 1; // of that file
    double sampleRate = 0.0;   // Hz
    int bitsPerSample = 0;
    bool isFloatingPoint = false;
    juce::StringPairArray metadata;                   // as its reader gave it
    std::shared_ptr<const SourceChunks> sourceChunks; // null when they are too large to keep, or unknown

    std::shared_ptr<TrackSamples> source;   // one channel; null only for a track whose audio is lost
    std::shared_ptr<TrackSamples> rendered; // seven channels; null unless processed
    std::shared_ptr<StoreFile>
        components; // ten planes, best first; null unless an analysis was asked to keep them

    std::optional<AnalysisInput> analysedAs; // nothing for a track that was in no analysis yet
    TrackFindings findings;

    std::uint32_t fileWord = 0;              // the track's 32-bit value in a group file
    juce::StringPairArray unknownProperties; // of a group file, by programs that know more than this one

    [[nodiscard]] std::int64_t lengthInSamples() const { return record.lengthInSamples(); }
    [[nodiscard]] DrumType drumType() const { return record.drumType(); }
    [[nodiscard]] AnalysisInput analysisInput() const { return { drumType(), excluded }; }

    /** Whether an analysis renders this track; all others pass through unchanged. */
    [[nodiscard]] bool takesPart() const;

    /** Whether what is played and exported is rendered, and not the source as it is. */
    [[nodiscard]] bool hasProcessedOutput() const { return rendered != nullptr && takesPart(); }
};

/** Everything about a Group, as a value. */
struct GroupState
{
    juce::String name;
    AnalysisMethod method = AnalysisMethod::standard; // that the next analysis will use
    std::vector<TrackState> tracks;

    /** The last analysis that the tracks' rendered samples come from. */
    struct Analysis
    {
        AnalysisMethod method = AnalysisMethod::standard;
        std::uint64_t seed = 1;
        int numTracks = 0; // of the Group at that time

        bool operator== (const Analysis&) const = default;
    };

    std::optional<Analysis> analysis;
    juce::StringPairArray unknownProperties; // of a group file, by programs that know more than this one
    juce::String foreignText;                // the text of a group file that another program wrote

    /** Hz, of the first track; 0 when there is none. */
    [[nodiscard]] double sampleRate() const { return tracks.empty() ? 0.0 : tracks.front().sampleRate; }

    /** Whether an analysis would give something else than the last one did; true when there was none. */
    [[nodiscard]] bool changedSinceAnalysis() const;
};

} // namespace tessivar
