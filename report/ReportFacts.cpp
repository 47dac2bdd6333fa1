#include "report/ReportFacts.h"

#include "model/ForeignText.h"
#include "model/Version.h"
#include "model/audiofile/AudioIntake.h"
#include "terms/DrumType.h"
#include "terms/Mathematics.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <iterator>

namespace tessivar
{

namespace
{
struct DoubtWords
{
    const char* key;
    const char* brief;
    const char* advice;
};

/** In the order of Doubt. */
constexpr DoubtWords doubtWords[]{
    { "unreadable", "can't be read", "Its audio could not be read; see the errors below." },
    { "notWritten", "not written", "Its file could not be written; see the errors below." },
    { "silent", "silent", "There is nothing on it: a cable, a muted channel, or a drum that nobody played." },
    { "unsure",
      "unsure",
      "It is not certain that what is removed is leakage. Listen whether the drum keeps its body and its "
      "decay; "
      "a lower Focus keeps more." },
    { "nothingFound",
      "no drum found",
      "No drum was found that could be kept apart, so the suggestion leaves the track as it is." },
    { "hardlyLeft",
      "hardly anything left",
      "Less than a sixteenth of the energy is left: the drum itself may be gone. Try a lower Focus or "
      "another "
      "seed." },
    { "clipped", "clipped", "Samples lie beyond full scale. Export as 32-bit float, or lower the source." },
    { "short", "short", "Less than 30 seconds: there is little to learn the drums from." },
};

constexpr double nothingShare = 1.0e-20; // -200 dB

const DoubtWords& wordsOf (Doubt doubt)
{
    static_assert (std::size (doubtWords) == static_cast<std::size_t> (Doubt::shortTrack) + 1);
    return doubtWords[static_cast<std::size_t> (doubt)];
}

double shareToDb (double share)
{
    return 10.0 * math::log10 (std::max (share, nothingShare));
}

juce::String labelOf (const TrackState& track)
{
    const auto& source = track.sourceInfo;
    auto label = track.name;

    if (source.numChannels > 1 && track.name == source.file.getFileNameWithoutExtension())
        label << (source.channel == 0 ? " (L)" : " (R)");

    return label;
}

TrackFacts factsOf (const TrackState& track, const TrackExport* written, const TrackMeasurement& measured)
{
    TrackFacts facts;
    facts.name = labelOf (track);
    facts.isProcessed = track.hasProcessedOutput();

    const auto isWritten = written != nullptr && written->isWritten();
    facts.removedShare = isWritten ? math::power (10.0, written->removedPartDb / 10.0)
                                   : std::max (measured.shareOf (measured.removed), nothingShare);
    facts.levelChangeDb = isWritten                      ? written->removedDb
                          : measured.source.energy > 0.0 ? shareToDb (measured.shareOf (measured.processed))
                                                         : 0.0;
    const auto noteIf = [&facts] (bool applies, Doubt doubt)
    {
        if (applies)
            facts.doubts.push_back (doubt);
    };
    const auto& suggested = track.findings.suggestedFocus;
    const auto isAudible = measured.outcome.isOk() && ! measured.isSilent();
    const auto seconds = static_cast<double> (track.lengthInSamples()) / std::max (1.0, track.sampleRate());

    noteIf (! measured.outcome.isOk(), Doubt::unreadable);
    noteIf (written != nullptr && ! isWritten, Doubt::notWritten);
    noteIf (measured.outcome.isOk() && measured.isSilent(), Doubt::silent);

    if (facts.isProcessed && isAudible)
    {
        noteIf (suggested == 0.0, Doubt::nothingFound);
        noteIf (suggested && *suggested > 0.0 && track.findings.certainty() == Certainty::unsure,
                Doubt::unsure);
        noteIf (facts.levelChangeDb < hardlyLeftDb, Doubt::hardlyLeft);
    }

    noteIf (measured.clippedSamples > 0, Doubt::clipped);
    noteIf (facts.isProcessed && seconds < shortDurationSeconds, Doubt::shortTrack);
    return facts;
}

std::string jsonText (const juce::String& text)
{
    return shownText (text).toStdString();
}
} // namespace

const char* doubtKey (Doubt doubt)
{
    return wordsOf (doubt).key;
}

juce::String doubtBrief (Doubt doubt)
{
    return wordsOf (doubt).brief;
}

juce::String doubtAdvice (Doubt doubt)
{
    return wordsOf (doubt).advice;
}

ReportContent contentOf (const GroupState& group, const juce::String& origin)
{
    ReportContent content;
    content.group = group;
    content.origin = origin;

    if (group.analysis)
    {
        content.method = group.analysis->method;
        content.seed = group.analysis->seed;
    }

    if (group.changedSinceAnalysis() && group.analysis)
        content.notes.add ("The Group has changed since its last analysis, which is what is shown.");

    return content;
}

bool TrackFacts::hasDoubt (Doubt doubt) const
{
    return std::ranges::find (doubts, doubt) != doubts.end();
}

double TrackFacts::removedDb() const
{
    return shareToDb (removedShare);
}

double ReportFacts::meanRemovedDb() const
{
    return shareToDb (meanRemovedShare);
}

bool ReportFacts::isCommon (Doubt doubt) const
{
    return numProcessed > 2
           && std::ranges::all_of (tracks,
                                   [doubt] (const TrackFacts& track)
                                   { return track.isProcessed == track.hasDoubt (doubt); });
}

ReportFacts factsOf (const ReportContent& content, const std::vector<TrackMeasurement>& measurements)
{
    ReportFacts facts;
    facts.seconds = PictureAxis::of (content.group).seconds();
    auto numMeasured = 0;

    for (std::size_t i = 0; i < content.group.tracks.size(); ++i)
    {
        const auto& track = facts.tracks.emplace_back (
            factsOf (content.group.tracks[i], content.exportOf (i), measurements[i]));

        if (! track.isProcessed)
            continue;

        ++facts.numProcessed;

        if (measurements[i].outcome.isOk() && ! measurements[i].isSilent())
        {
            facts.meanRemovedShare += track.removedShare;
            ++numMeasured;
        }
    }

    facts.meanRemovedShare /= std::max (1, numMeasured);
    facts.isShort =
        facts.numProcessed > 0
        && std::ranges::all_of (facts.tracks,
                                [] (const TrackFacts& track)
                                { return ! track.isProcessed || track.hasDoubt (Doubt::shortTrack); });

    for (auto& track : facts.tracks)
    {
        if (facts.isShort)
            std::erase (track.doubts, Doubt::shortTrack);

        facts.numDoubtful += track.doubts.empty() ? 0 : 1;
    }

    return facts;
}

nlohmann::ordered_json factsToJson (const ReportContent& content,
                                    const ReportFacts& facts,
                                    const std::vector<TrackMeasurement>& measurements)
{
    using Json = nlohmann::ordered_json;
    const auto& group = content.group;
    auto tracks = Json::array();

    for (std::size_t i = 0; i < group.tracks.size(); ++i)
    {
        const auto& track = group.tracks[i];
        const auto& fact = facts.tracks[i];
        const auto hasSuggestion = fact.isProcessed && track.findings.suggestedFocus;
        auto doubts = Json::array();

        for (const auto doubt : fact.doubts)
            doubts.push_back (doubtKey (doubt));

        tracks.push_back (Json{
            { "name", jsonText (fact.name) },
            { "type", drumTypeKey (track.drumType()) },
            { "processed", fact.isProcessed },
            { "excluded", track.excluded },
            { "focus", track.soundingKnobs().focus },
            { "fine", track.soundingKnobs().fine },
            { "seconds", static_cast<double> (track.lengthInSamples()) / std::max (1.0, track.sampleRate()) },
            { "hits", measurements[i].hits.size() },
            { "certainty", hasSuggestion ? Json (certaintyText (track.findings.certainty())) : Json() },
            { "removedShare", fact.isProcessed ? Json (fact.removedShare) : Json() },
            { "removedDb", fact.isProcessed ? Json (fact.removedDb()) : Json() },
            { "levelChangeDb", fact.isProcessed ? Json (fact.levelChangeDb) : Json() },
            { "peakBefore", measurements[i].source.peak },
            { "peakAfter", measurements[i].processed.peak },
            { "clippedSamples", measurements[i].clippedSamples },
            { "doubts", doubts },
        });
    }

    auto refused = Json::array(), warnings = Json::array();

    for (const auto& each : content.refused)
        refused.push_back (Json{ { "file", jsonText (each.file) }, { "reason", jsonText (each.reason) } });

    for (const auto& warning : content.warnings)
    {
        auto entries = Json::array();

        for (const auto& entry : warning.entries)
            entries.push_back (jsonText (entry));

        warnings.push_back (Json{
            { "code", warning.code }, { "message", jsonText (warning.message) }, { "entries", entries } });
    }

    const auto hasMean = facts.numProcessed > 0;
    return Json{
        { "format", 1 },
        { "program", "Tessivar" },
        { "version", programVersion() },
        { "revision", programRevision() },
        { "name", jsonText (group.name) },
        { "origin", jsonText (content.origin) },
        { "state", jsonText (content.state) },
        { "method", analysisMethodKey (content.method) },
        { "seed", content.seed },
        { "created", juce::Time::getCurrentTime().toISO8601 (true).toStdString() },
        { "sampleRate", group.sampleRate() },
        { "durationSeconds", facts.seconds },
        { "short", facts.isShort },
        { "numTracks", group.tracks.size() },
        { "numProcessed", facts.numProcessed },
        { "numDoubtful", facts.numDoubtful },
        { "meanRemovedShare", hasMean ? Json (facts.meanRemovedShare) : Json() },
        { "meanRemovedDb", hasMean ? Json (facts.meanRemovedDb()) : Json() },
        { "tracks", tracks },
        { "refused", refused },
        { "warnings", warnings },
    };
}

} // namespace tessivar
