#include "report/TrackSection.h"

#include "model/SampleRateText.h"
#include "report/Passages.h"
#include "report/ReportTexts.h"
#include "report/TrackFigures.h"
#include "terms/DrumType.h"

#include <cmath>

namespace tessivar
{

namespace
{
/** "2.5 of 5 (50 %)" */
juce::String knobText (float value, float maximum)
{
    return juce::String (juce::String (value, 2).getDoubleValue()) + " of "
           + juce::String (static_cast<int> (maximum)) + " ("
           + juce::String (juce::roundToInt (100.0f * value / maximum)) + " %)";
}

juce::String suggestionText (const TrackState& track)
{
    if (! track.findings.suggestedFocus)
        return {};

    const auto suggested = static_cast<float> (*track.findings.suggestedFocus);
    return std::abs (suggested - track.soundingKnobs().focus) < 0.005f
               ? juce::String (", as suggested")
               : ", suggested " + knobText (suggested, focusMaximum);
}

juce::String hitsText (const TrackState& track, const TrackMeasurement& measured)
{
    const auto own = track.findings.numHits;
    return juce::String (measured.hits.size()) + " loud ones heard"
           + (own && track.hasProcessedOutput()
                  ? "; the method counts " + juce::String (*own) + " of its own drum"
                  : juce::String());
}

juce::String sourceText (const TrackState& track)
{
    const auto& source = track.sourceInfo;
    auto text = juce::String (source.bitsPerSample) + (source.isFloatingPoint ? "-bit float, " : "-bit, ")
                + sampleRateText (source.sampleRate);

    if (source.numChannels > 1)
        text << ", channel " << source.channel + 1 << " of " << source.numChannels;

    return source.file == juce::File() ? text : source.file.getFileName() + ", " + text;
}

void writeDetails (Html& page, const TrackSection& section)
{
    const auto& track = section.track;
    const auto& fact = section.facts;
    const auto& measured = section.measured;
    const auto list = page.element ("dl", { { "class", "details" } });
    const auto detail = [&page] (const char* name, const juce::String& value)
    {
        const auto pair = page.element ("div");
        page.leaf ("dt", name);
        page.leaf ("dd", value);
    };
    const auto decibels = [&] (double before, double after)
    { return levelsText (before, after, fact.isProcessed) + " dBFS"; };

    detail ("Level", decibels (measured.meanDb (measured.source), measured.meanDb (measured.processed)));
    detail ("Peak", decibels (gainToDb (measured.source.peak), gainToDb (measured.processed.peak)));

    if (fact.isProcessed)
    {
        const auto knobs = track.soundingKnobs();
        detail ("Removed",
                shareText (fact.removedShare)
                    + (fact.removedShare < 1.0e-14
                           ? juce::String()
                           : " of the energy (" + levelText (fact.removedDb()) + " dB)"));
        detail ("Reduction",
                juce::String (measured.reduction.whole().meanDb, 1) + " dB in the mean, "
                    + juce::String (measured.reduction.whole().maximumDb, 1) + " dB at most");
        detail ("Focus", knobText (knobs.focus, focusMaximum) + suggestionText (track));
        detail ("Fine", knobText (knobs.fine, fineMaximum));
        detail ("Setting", track.record.selected() == KnobSetting::a ? "A" : "B");
    }

    detail ("Hits", hitsText (track, measured));

    if (track.findings.suggestedFocus && fact.isProcessed)
        detail (
            "Leakage",
            juce::String (certaintyText (track.findings.certainty()))
                + (track.findings.confidence
                       ? " (" + juce::String (juce::roundToInt (100.0 * *track.findings.confidence)) + " %)"
                       : juce::String())
                + "; "
                + (track.findings.hasLeakage()
                       ? changeText (track.findings.leakageDb) + " dB against the drum"
                       : juce::String ("none found")));

    detail ("Clipped samples", juce::String (measured.clippedSamples));
    detail ("Source", sourceText (track));

    if (const auto* const written = section.written)
        detail ("Written",
                written->isWritten() ? written->file.getFileName()
                                     : "not: " + juce::String::fromUTF8 (written->outcome.reason.c_str()));
}
} // namespace

Outcome writeTrackSection (Html& page, const TrackSection& section, const PictureAxis& axis, bool withAudio)
{
    const auto& [anchor, track, facts, measured, written, doubts] = section;
    const auto article = page.element ("article", { { "id", anchor } });
    {
        const auto title = page.element ("h3");
        page.text (facts.name + " ");
        page.leaf ("span",
                   typeText (track.drumType()),
                   { { "class", "type" },
                     { "style", juce::String ("--drum:var(--") + drumTypeKey (track.drumType()) + ")" } });
    }

    if (! doubts.empty())
    {
        const auto list = page.element ("ul", { { "class", "doubts" } });

        for (const auto doubt : doubts)
        {
            const auto item = page.element ("li");
            page.leaf ("strong", capitalized (doubtBrief (doubt)));
            page.text (". ");
            page.leaf ("span", doubtAdvice (doubt), { { "class", "advice" } });
        }
    }

    if (! measured.outcome.isOk())
    {
        page.leaf ("p", measured.outcome.reason, { { "class", "alarm" } });
        return Outcome::ok();
    }

    writeTrackFigure (page, track, facts, measured, axis);

    if (withAudio)
        if (const auto passages = writePassages (page, track, facts, written, measured, axis);
            ! passages.isOk())
            return passages;

    writeDetails (page, section);
    return Outcome::ok();
}

} // namespace tessivar
