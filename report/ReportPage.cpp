#include "report/ReportPage.h"

#include "model/SampleRateText.h"
#include "model/Version.h"
#include "report/BleedTables.h"
#include "report/Html.h"
#include "report/PageHead.h"
#include "report/ReportTexts.h"
#include "report/TrackFigures.h"
#include "report/TrackSection.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <utility>

namespace tessivar
{

namespace
{
constexpr auto policy = "default-src 'none'; img-src data:; media-src data:; style-src 'unsafe-inline'";

juce::String anchorOf (std::size_t track)
{
    return "track" + juce::String (track + 1);
}

class Page
{
public:
    Page (juce::OutputStream& outputToFill,
          const ReportContent& contentToTell,
          const ReportFacts& factsToTell,
          const std::vector<TrackMeasurement>& measurementsToTell,
          const PictureAxis& axisToUse)
        : page (outputToFill), content (contentToTell), facts (factsToTell),
          measurements (measurementsToTell), axis (axisToUse)
    {
    }

    Outcome write (bool withAudio, const WorkControl& control)
    {
        page.verbatim ("<!DOCTYPE html>\n");
        const auto html = page.element ("html", { { "lang", "en" } });
        writeHead();
        const auto body = page.element ("body");
        const auto main = page.element ("main");
        writeSummary();
        writeTable();
        writeBleed();
        {
            const auto section = page.element ("section", { { "class", "tracks" } });
            page.leaf ("h2", "Track by track");
            page.leaf ("p",
                       "In a waveform what is kept stands in front, in the stronger tone; the fainter one "
                       "behind it is "
                       "what the source had beyond it. Ticks mark hits. Reduction is how far the level "
                       "falls, from 0 at "
                       "the top to 60 dB. Spectrograms show 40 Hz to 20 kHz, "
                           + juce::String (static_cast<int> (spectrogramRangeDb))
                           + " dB down from the loudest moment of the source.",
                       { { "class", "quiet reading" } });

            for (std::size_t i = 0; i < facts.tracks.size(); ++i)
            {
                if (control.stopRequested())
                    return Outcome::stopped();

                if (const auto written = writeTrackSection (page, sectionOf (i), axis, withAudio);
                    ! written.isOk())
                    return written;

                control.progress (static_cast<double> (i + 1) / static_cast<double> (facts.tracks.size()));
            }
        }
        writeMessages();
        page.leaf ("footer",
                   "Written by Tessivar " + juce::String (programVersion()) + " ("
                       + juce::String (programRevision()) + ") on "
                       + juce::Time::getCurrentTime().formatted ("%Y-%m-%d %H:%M")
                       + ". The page holds everything it shows and opens no connection.");
        return Outcome::ok();
    }

private:
    void writeHead()
    {
        const PageHead head (page, policy, content.group.name + " - Tessivar report", reportStyle());
        const auto script =
            page.element ("script", { { "type", "application/json" }, { "id", "tessivar-report" } });

        // All but plain letters as JSON writes them: no parser takes a text for markup, or for no character.
        page.verbatim (juce::String::fromUTF8 (
                           factsToJson (content, facts, measurements)
                               .dump (-1, ' ', true, nlohmann::ordered_json::error_handler_t::replace)
                               .c_str())
                           .replace ("&", "\\u0026")
                           .replace ("<", "\\u003c")
                           .replace (">", "\\u003e")
                           .toStdString());
    }

    [[nodiscard]] juce::String headline() const
    {
        const auto numTracks = facts.tracks.size();

        if (facts.numProcessed == 0)
            return "No track of this Group is processed: all of them pass through unchanged.";

        const auto most = std::ranges::max_element (
            facts.tracks,
            {},
            [] (const TrackFacts& track) { return track.isProcessed ? track.removedShare : -1.0; });
        auto text =
            (static_cast<std::size_t> (facts.numProcessed) == numTracks
                 ? (numTracks == 1 ? juce::String ("The track is")
                                   : "All " + countText (numTracks, "track") + " are")
                 : juce::String (facts.numProcessed) + " of " + countText (numTracks, "track") + " are")
            + " processed by the " + analysisMethodKey (content.method) + " method. ";

        if (facts.meanRemovedShare < 1.0e-14)
            return text + "Nothing was removed.";

        text << (facts.numProcessed == 1 ? "" : "On average, ") << shareText (facts.meanRemovedShare)
             << " of a track's energy was removed";

        if (facts.numProcessed > 1)
            text << ", most from " << most->name << " (" << shareText (most->removedShare) << ")";

        return text + ".";
    }

    void writeSummary()
    {
        const auto header = page.element ("header");
        page.leaf ("p", "Tessivar report", { { "class", "kicker" } });
        page.leaf ("h1", content.group.name.isNotEmpty() ? content.group.name : juce::String ("Group"));

        if (content.state != "done")
            page.leaf ("p",
                       "The run did not end well: " + content.state + ". See the errors below.",
                       { { "class", "alarm" } });

        page.leaf ("p", headline(), { { "class", "lead" } });
        writeDoubts();
        const auto list = page.element ("dl", { { "class", "facts" } });
        const auto fact = [this] (const char* name, const juce::String& value)
        {
            const auto pair = page.element ("div");
            page.leaf ("dt", name);
            page.leaf ("dd", value);
        };
        fact ("Tracks", countText (facts.tracks.size(), "track") + ", " + timeText (facts.seconds));
        fact ("Sample rate", sampleRateText (axis.sampleRate));
        fact ("Method",
              capitalized (analysisMethodKey (content.method)) + ", seed " + juce::String (content.seed));
        fact ("Version", programVersion());

        if (content.origin.isNotEmpty())
            fact ("From", content.origin);
    }

    /** Which tracks need an ear, reason by reason. */
    void writeDoubts()
    {
        if (facts.isShort)
            page.leaf ("p",
                       "The take lasts only " + timeText (facts.seconds) + ". "
                           + doubtAdvice (Doubt::shortTrack),
                       { { "class", "quiet" } });

        if (facts.numDoubtful == 0)
        {
            page.leaf ("p", "No track needs an ear.", { { "class", "well" } });
            return;
        }

        const auto numTracks = facts.tracks.size();
        page.leaf ("h2",
                   static_cast<std::size_t> (facts.numDoubtful) == numTracks && numTracks > 1
                       ? juce::String ("Every track needs an ear")
                       : countText (static_cast<std::size_t> (facts.numDoubtful), "track")
                             + (facts.numDoubtful == 1 ? " needs an ear" : " need an ear"));
        const auto list = page.element ("ul", { { "class", "doubts" } });

        for (auto index = 0; index <= static_cast<int> (Doubt::shortTrack); ++index)
        {
            const auto doubt = static_cast<Doubt> (index);
            std::vector<std::size_t> those;

            for (std::size_t i = 0; i < numTracks; ++i)
                if (facts.tracks[i].hasDoubt (doubt))
                    those.push_back (i);

            if (those.empty())
                continue;

            const auto item = page.element ("li");
            page.leaf ("strong", capitalized (doubtBrief (doubt)));
            page.text (": ");

            if (facts.isCommon (doubt))
                page.text (those.size() == numTracks ? "all tracks" : "all processed tracks");
            else
                for (const auto track : those)
                {
                    page.text (track == those.front() ? "" : track == those.back() ? " and " : ", ");
                    page.leaf ("a", facts.tracks[track].name, { { "href", "#" + anchorOf (track) } });
                }

            page.text (". ");
            page.leaf ("span", doubtAdvice (doubt), { { "class", "advice" } });
        }
    }

    void writeTable()
    {
        const auto section = page.element ("section");
        page.leaf ("h2", "Tracks");
        const auto table = page.element ("table", { { "class", "overview" } });
        page.leaf ("caption",
                   "Levels are the mean over the track, before and after, and its peaks, in dB below full "
                   "scale. Removed is "
                   "the energy of what was taken away, against the source's.");
        {
            const auto head = page.element ("thead");
            const auto row = page.element ("tr");

            for (const auto* title :
                 { "Track", "Type", "Removed", "Level", "Peak", "Focus", "Hits", "Needs an ear" })
                page.leaf ("th", title, { { "scope", "col" } });
        }
        const auto bodyOfTable = page.element ("tbody");

        for (std::size_t i = 0; i < facts.tracks.size(); ++i)
            writeTableRow (i);
    }

    void writeTableRow (std::size_t index)
    {
        const auto& track = content.group.tracks[index];
        const auto& fact = facts.tracks[index];
        const auto& measured = measurements[index];
        const auto row = page.element ("tr");
        {
            const auto cell = page.element ("th", { { "scope", "row" } });
            page.leaf ("a", fact.name, { { "href", "#" + anchorOf (index) } });
        }
        const auto cell = [this] (const char* title, const juce::String& value, const char* kind = "number") {
            page.leaf ("td", value, { { "data-title", title }, { "class", kind } });
        };

        cell ("Type", typeText (track.drumType()), "word");

        if (fact.isProcessed)
        {
            const auto box =
                page.element ("td", { { "data-title", "Removed" }, { "class", "number share" } });
            page.text (shareText (fact.removedShare));
            page.leaf (
                "span",
                "",
                { { "class", "bar" },
                  { "style", "--part:" + juce::String (juce::jlimit (0.0, 1.0, fact.removedShare), 3) } });
        }
        else
            cell ("Removed", track.excluded ? "excluded" : "unchanged", "number quiet");

        cell ("Level",
              levelsText (
                  measured.meanDb (measured.source), measured.meanDb (measured.processed), fact.isProcessed));
        cell ("Peak",
              levelsText (
                  gainToDb (measured.source.peak), gainToDb (measured.processed.peak), fact.isProcessed));
        cell ("Focus",
              fact.isProcessed
                  ? juce::String (juce::roundToInt (track.soundingKnobs().focus / focusMaximum * 100.0f))
                        + " %"
                  : juce::String());
        cell ("Hits", juce::String (measured.hits.size()));

        juce::StringArray doubts;

        for (const auto doubt : fact.doubts)
            doubts.add (doubtBrief (doubt));

        cell ("Needs an ear", doubts.joinIntoString (", "), doubts.isEmpty() ? "word" : "word doubt");
    }

    void writeBleed()
    {
        const auto section = page.element ("section");
        page.leaf ("h2", "Leakage between the microphones");
        writeBleedTables (page, content.group, content.method);
    }

    [[nodiscard]] TrackSection sectionOf (std::size_t index) const
    {
        // What all have in common is told above.
        auto own = facts.tracks[index].doubts;
        std::erase_if (own, [this] (Doubt doubt) { return facts.isCommon (doubt); });
        return { anchorOf (index),    content.group.tracks[index], facts.tracks[index],
                 measurements[index], content.exportOf (index),    std::move (own) };
    }

    void writeMessages()
    {
        const auto isEmpty = content.warnings.empty() && content.refused.empty() && content.notes.isEmpty()
                             && content.hints.isEmpty() && content.errors.isEmpty();

        if (isEmpty)
            return;

        const auto section = page.element ("section", { { "class", "messages" } });
        page.leaf ("h2", "Messages of the run");
        writeLines ("Errors", content.errors);
        juce::StringArray refused;

        for (const auto& each : content.refused)
            refused.add (each.reason);

        writeLines ("Refused", refused);

        if (! content.warnings.empty())
            page.leaf ("h3", "Warnings");

        for (const auto& warning : content.warnings)
        {
            page.leaf ("p", "Code " + juce::String (warning.code) + ": " + warning.message);
            writeLines (nullptr, warning.entries);
        }

        writeLines ("Hints", content.hints);
        writeLines ("Notes", content.notes);
    }

    void writeLines (const char* title, const juce::StringArray& lines)
    {
        if (lines.isEmpty())
            return;

        if (title != nullptr)
            page.leaf ("h3", title);

        const auto list = page.element ("ul");

        for (const auto& line : lines)
            page.leaf ("li", line);
    }

    Html page;
    const ReportContent& content;
    const ReportFacts& facts;
    const std::vector<TrackMeasurement>& measurements;
    const PictureAxis& axis;
};
} // namespace

Outcome writePage (juce::OutputStream& output,
                   const ReportContent& content,
                   const ReportFacts& facts,
                   const std::vector<TrackMeasurement>& measurements,
                   const PictureAxis& axis,
                   bool withAudio,
                   const WorkControl& control)
{
    return Page (output, content, facts, measurements, axis).write (withAudio, control);
}

} // namespace tessivar
