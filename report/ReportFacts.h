#pragma once

#include "jobs/ExportTracks.h"
#include "model/GroupState.h"
#include "model/ImportWarnings.h"
#include "report/TrackMeasurement.h"

#include <juce_core/juce_core.h>

#include <nlohmann/json_fwd.hpp>

#include <optional>
#include <vector>

namespace tessivar
{

/** Why a track needs an ear. The words stand in the page's data, too. */
enum class Doubt
{
    unreadable,   // its audio
    notWritten,   // its file
    silent,       // below -80 dBFS throughout
    unsure,       // whether what is removed is leakage
    nothingFound, // no drum of its own; nothing is removed
    hardlyLeft,   // of what was there
    clipped,      // the file, or what it would be
    shortTrack    // less than the analysis needs to learn from, in a longer take
};

/** dB that a track changes by; one that loses more has likely lost its drum. */
inline constexpr double hardlyLeftDb = -12.0;

[[nodiscard]] const char* doubtKey (Doubt doubt);

/** What to tell a reader: a few words, and a sentence of advice. */
[[nodiscard]] juce::String doubtBrief (Doubt doubt);
[[nodiscard]] juce::String doubtAdvice (Doubt doubt);

/** What a report is made of. */
struct ReportContent
{
    /** A file that became no track. */
    struct Refused
    {
        juce::String file, reason;
    };

    GroupState group;
    juce::String origin; // the group file, or the inputs of a run
    AnalysisMethod method = AnalysisMethod::standard;
    std::uint64_t seed = 1;
    juce::String state = "done"; // how the run ended, in the words of the command line's documents

    /** Of a run that wrote audio, as the Group's tracks; empty otherwise. */
    std::vector<std::optional<TrackExport>> exports;

    std::vector<ImportWarnings::Warning> warnings;
    std::vector<Refused> refused;
    juce::StringArray notes, hints, errors;

    [[nodiscard]] const TrackExport* exportOf (std::size_t track) const
    {
        return track < exports.size() && exports[track] ? &*exports[track] : nullptr;
    }
};

/** What there is to tell of a Group that no run belongs to. */
[[nodiscard]] ReportContent contentOf (const GroupState& group, const juce::String& origin);

/** The figures of one track. */
struct TrackFacts
{
    juce::String name; // tells the channels of a stereo file apart
    bool isProcessed = false;
    double removedShare = 0.0; // energy of what was removed over energy of the source; about 0..1
    double levelChangeDb = 0.0;
    std::vector<Doubt> doubts;

    [[nodiscard]] bool hasDoubt (Doubt doubt) const;

    /** As 10 log10 of the share; -200 for nothing. */
    [[nodiscard]] double removedDb() const;
};

/** The figures of a report. */
struct ReportFacts
{
    std::vector<TrackFacts> tracks;
    double seconds = 0.0;          // of the longest track
    int numProcessed = 0;          // tracks
    int numDoubtful = 0;           // tracks
    bool isShort = false;          // all processed tracks: said of the take, and no doubt about one of them
    double meanRemovedShare = 0.0; // of the processed tracks that aren't silent

    [[nodiscard]] double meanRemovedDb() const;

    /** Whether every processed track has it, so that it says something about the take. */
    [[nodiscard]] bool isCommon (Doubt doubt) const;
};

[[nodiscard]] ReportFacts factsOf (const ReportContent& content,
                                   const std::vector<TrackMeasurement>& measurements);

/** The page's data for programs: see the page's script element with the id "tessivar-report".

    format 1; program, version, revision; name, origin, state, method, seed; created (ISO 8601); sampleRate,
    durationSeconds; short (the take); numTracks, numProcessed, numDoubtful; meanRemovedShare and
    meanRemovedDb (null when nothing was processed); tracks: name, type, processed, excluded, focus, fine,
    seconds, hits, certainty, removedShare, removedDb, levelChangeDb (these four null where there are none),
    peakBefore, peakAfter, clippedSamples, doubts (the words of Doubt); refused: file, reason; warnings: code,
    message, entries.
    Levels are dB.
*/
[[nodiscard]] nlohmann::ordered_json factsToJson (const ReportContent& content,
                                                  const ReportFacts& facts,
                                                  const std::vector<TrackMeasurement>& measurements);

} // namespace tessivar
