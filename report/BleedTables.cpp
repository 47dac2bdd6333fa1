#include "report/BleedTables.h"

#include "report/ReportTexts.h"
#include "terms/BleedMap.h"

#include <optional>
#include <vector>

namespace tessivar
{

namespace
{
constexpr std::size_t mostAbreast = 8; // columns; with more, one table stands below the other

/** From where on a level is worth a tone, and where it is as loud as the drum itself. */
constexpr double faintestDb = -40.0, loudestDb = 0.0;

class BleedTables
{
public:
    BleedTables (Html& html, const GroupState& groupToTell) : page (html), group (groupToTell)
    {
        for (const auto& track : group.tracks)
            if (group.bleedPlaceOf (track))
                tracks.push_back (&track);
    }

    [[nodiscard]] bool isEmpty() const { return tracks.empty(); }

    void write()
    {
        page.leaf (
            "p",
            "A row is a microphone, a column a drum: how loud the drum arrives there, in dB against the "
            "microphone's own drum in the source. Stronger tones are louder; a dot stands for nothing, and "
            "= for a microphone on the same drum.",
            { { "class", "quiet reading" } });
        const auto pair =
            page.element ("div", { { "class", tracks.size() > mostAbreast ? "pair wide" : "pair" } });
        writeTable ("Before", false);
        writeTable ("After, with the knobs as they stand", true);
    }

private:
    void writeTable (const char* caption, bool isAfter)
    {
        const auto frame = page.element ("div", { { "class", "scroll" } });
        const auto table = page.element ("table", { { "class", "bleed" } });
        page.leaf ("caption", caption);
        {
            const auto head = page.element ("thead");
            const auto row = page.element ("tr");
            page.leaf ("td", "");

            for (const auto* drum : tracks)
                page.leaf ("th", drum->name, { { "scope", "col" } });
        }
        const auto body = page.element ("tbody");

        for (const auto* microphone : tracks)
        {
            const auto row = page.element ("tr");
            page.leaf ("th", microphone->name, { { "scope", "row" } });

            for (const auto* drum : tracks)
                writeCell (*microphone, *drum, isAfter);
        }
    }

    void writeCell (const TrackState& microphone, const TrackState& drum, bool isAfter)
    {
        if (&microphone != &drum && microphone.hearsDrumOf (drum))
        {
            page.leaf ("td", "=", { { "class", "own" } });
            return;
        }

        const auto knobs =
            isAfter && microphone.hasProcessedOutput() ? microphone.soundingKnobs() : KnobValues{};
        const auto level = group.analysis->bleed->levelDb (
            *group.bleedPlaceOf (microphone), *group.bleedPlaceOf (drum), std::nullopt, knobs);
        const auto strength =
            level ? juce::jlimit (0.0, 1.0, (*level - faintestDb) / (loudestDb - faintestDb)) : 0.0;

        if (&microphone == &drum)
            page.leaf ("td", level ? levelText (*level) : middleDot, { { "class", "own" } });
        else
            page.leaf ("td",
                       level ? levelText (*level) : middleDot,
                       { { "style", "--part:" + juce::String (strength, 2) } });
    }

    const juce::String middleDot = juce::String::charToString (0xb7);
    Html& page;
    const GroupState& group;
    std::vector<const TrackState*> tracks; // that have a place in the map
};
} // namespace

void writeBleedTables (Html& page, const GroupState& group, AnalysisMethod method)
{
    BleedTables tables (page, group);

    if (! tables.isEmpty())
        tables.write();
    else
        page.leaf (
            "p",
            method == AnalysisMethod::refined
                ? "There is no map of it: the analysis found nothing to compare, or was made before the "
                  "program kept one. A new analysis makes one."
                : "The standard method makes no map of it; the refined one does.",
            { { "class", "quiet" } });
}

} // namespace tessivar
