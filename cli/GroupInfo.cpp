#include "cli/GroupInfo.h"

#include "cli/BleedReport.h"
#include "cli/JsonText.h"
#include "cli/TerminalText.h"
#include "cli/TypeOrigin.h"
#include "model/SourcePath.h"
#include "report/ReportTexts.h"
#include "terms/AnalysisMethod.h"
#include "terms/DrumType.h"
#include "terms/KnobValues.h"

#include <algorithm>

namespace tessivar
{

namespace
{
using Json = nlohmann::ordered_json;

juce::String knobText (KnobValues values)
{
    return formatKnob (values.focus) + " / " + formatKnob (values.fine);
}

juce::String stateText (const TrackState& track)
{
    if (track.excluded)
        return "excluded";
    if (! track.takesPart())
        return "as is";
    return track.rendered != nullptr ? "analyzed" : "not analyzed";
}

juce::String analysisText (const GroupState& group)
{
    if (! group.analysis)
        return "none";

    return juce::String (analysisMethodKey (group.analysis->method)) + ", seed "
           + juce::String (group.analysis->seed)
           + (group.changedSinceAnalysis() ? "; changed since then" : "");
}

double lengthSeconds (const GroupState& group)
{
    std::int64_t longest = 0;
    for (const auto& track : group.tracks)
        longest = std::max (longest, track.lengthInSamples());
    return group.sampleRate() > 0.0 ? static_cast<double> (longest) / group.sampleRate() : 0.0;
}

Json knobsToJson (KnobValues values)
{
    return Json{ { "focus", values.focus }, { "fine", values.fine } };
}

Json trackToJson (const GroupState& group, std::size_t index)
{
    const auto& track = group.tracks[index];
    Json json;
    json["name"] = jsonText (track.name);
    json["type"] = jsonText (drumTypeKey (track.drumType()));
    json["soundsLike"] = typeOrNull (track.offeredType());
    json["excluded"] = track.excluded;
    json["processed"] = track.rendered != nullptr;
    json["settingA"] = knobsToJson (track.record.knobs (KnobSetting::a));
    json["settingB"] = knobsToJson (track.record.knobs (KnobSetting::b));
    json["selected"] = track.record.selected() == KnobSetting::a ? "A" : "B";
    json["suggestedFocus"] = valueOrNull (track.findings.suggestedFocus);
    json["leakageDb"] = track.findings.suggestedFocus ? Json (track.findings.leakageDb) : Json();
    json["sameDrumAs"] = jsonTexts (group.namesSharingDrumWith (index));
    json["bleed"] = bleedToJson (group, index, track.soundingKnobs());
    json["sampleRate"] = track.sourceInfo.sampleRate;
    json["lengthInSamples"] = track.lengthInSamples();
    json["bitsPerSample"] = track.sourceInfo.bitsPerSample;
    json["floatingPoint"] = track.sourceInfo.isFloatingPoint;
    json["source"] = jsonText (sourcePathOf (track));
    json["sourceIsThere"] = track.sourceInfo.file.existsAsFile();
    json["channel"] = track.sourceInfo.channel;
    json["channels"] = track.sourceInfo.numChannels;
    json["metadata"] = metadataToJson (track.sourceInfo.metadata);
    return json;
}
} // namespace

std::string formatGroupInfo (const juce::File& file, const LoadedGroup& loaded)
{
    const auto& group = loaded.state;
    juce::String text = printable (file.getFullPathName()) + "\n";
    text << "  Group     " << printable (group.name) << "\n"
         << "  Rate      " << juce::String (group.sampleRate()) << " Hz\n"
         << "  Length    " << formatSeconds (lengthSeconds (group)) << "\n"
         << "  Analysis  " << analysisText (group) << "\n";
    for (const auto& note : loaded.notes)
        text << "  Note      " << printable (note) << "\n";

    std::vector<std::vector<juce::String>> rows{
        { "Track", "Type", "State", "A focus / fine", "B focus / fine", "Sounds", "Source" }
    };
    for (const auto& track : group.tracks)
        rows.push_back ({ printable (track.name),
                          typeText (track.drumType()),
                          stateText (track),
                          knobText (track.record.knobs (KnobSetting::a)),
                          knobText (track.record.knobs (KnobSetting::b)),
                          track.record.selected() == KnobSetting::a ? "A" : "B",
                          printable (sourceNameOf (track))
                              + (track.sourceInfo.file.existsAsFile() ? "" : " (not found)") });
    const auto bleed = formatBleed (group);
    return text.toStdString() + "\n" + formatTable (rows)
           + (bleed.empty() ? "" : "\nDrums (columns) in microphones (rows), against their own:\n" + bleed);
}

Json groupInfoToJson (const juce::File& file, const LoadedGroup& loaded)
{
    const auto& group = loaded.state;
    Json json;
    json["file"] = jsonText (file.getFullPathName());
    json["accepted"] = true;
    json["format"] = "Group";
    json["name"] = jsonText (group.name);
    json["sampleRate"] = group.sampleRate();
    json["seconds"] = lengthSeconds (group);
    json["method"] = jsonText (analysisMethodKey (group.method));
    json["analysis"] = Json();
    if (group.analysis)
        json["analysis"] = Json{
            { "method", jsonText (analysisMethodKey (group.analysis->method)) },
            { "seed", group.analysis->seed },
            { "changedSince", group.changedSinceAnalysis() },
        };
    json["recovered"] = loaded.recovered;
    json["damaged"] = loaded.damaged;
    json["notes"] = jsonTexts (loaded.notes);
    json["tracks"] = Json::array();
    for (std::size_t i = 0; i < group.tracks.size(); ++i)
        json["tracks"].push_back (trackToJson (group, i));
    return json;
}

} // namespace tessivar
