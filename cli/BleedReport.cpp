#include "cli/BleedReport.h"

#include "cli/JsonText.h"
#include "cli/TerminalText.h"
#include "terms/BleedMap.h"

#include <optional>
#include <vector>

namespace tessivar
{

namespace
{
using Json = nlohmann::ordered_json;

Json bandsToJson (const BleedMap& map, std::size_t microphone, std::size_t drum, KnobValues knobs)
{
    auto json = Json::array();

    for (std::size_t band = 0; band < BleedMap::numBands; ++band)
        json.push_back (valueOrNull (map.levelDb (microphone, drum, band, knobs)));

    return json;
}

juce::String levelText (std::optional<double> level)
{
    return level ? formatDb (*level) : juce::String ("-");
}
} // namespace

Json bleedToJson (const GroupState& group, std::size_t track, KnobValues knobs)
{
    const auto& microphone = group.tracks[track];
    const auto row = group.bleedPlaceOf (microphone);

    if (! row)
        return {};

    const auto& map = *group.analysis->bleed;
    const auto sounding = microphone.hasProcessedOutput() ? knobs : KnobValues{};
    auto json = Json::array();

    for (const auto& drum : group.tracks)
        if (const auto column = group.bleedPlaceOf (drum))
            json.push_back (
                Json{ { "drum", jsonText (drum.name) },
                      { "sameDrum", microphone.hearsDrumOf (drum) },
                      { "beforeDb", valueOrNull (map.levelDb (*row, *column, std::nullopt, {})) },
                      { "afterDb", valueOrNull (map.levelDb (*row, *column, std::nullopt, sounding)) },
                      { "bandsBeforeDb", bandsToJson (map, *row, *column, {}) },
                      { "bandsAfterDb", bandsToJson (map, *row, *column, sounding) } });

    return json;
}

std::string formatBleed (const GroupState& group)
{
    std::vector<const TrackState*> tracks;
    std::vector<std::vector<juce::String>> rows{ { "dB before > after" } };

    for (const auto& track : group.tracks)
        if (group.bleedPlaceOf (track))
        {
            tracks.push_back (&track);
            rows[0].push_back (printable (track.name));
        }

    for (const auto* microphone : tracks)
    {
        const auto& map = *group.analysis->bleed;
        const auto row = *microphone->findings.bleedPlace;
        const auto knobs = microphone->hasProcessedOutput() ? microphone->soundingKnobs() : KnobValues{};
        rows.push_back ({ printable (microphone->name) });

        for (const auto* drum : tracks)
        {
            const auto column = *drum->findings.bleedPlace;
            rows.back().push_back (microphone != drum && microphone->hearsDrumOf (*drum)
                                       ? juce::String ("same drum")
                                       : levelText (map.levelDb (row, column, std::nullopt, {})) + " > "
                                             + levelText (map.levelDb (row, column, std::nullopt, knobs)));
        }
    }

    return tracks.empty() ? std::string() : formatTable (rows);
}

} // namespace tessivar
