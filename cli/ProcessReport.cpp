#include "cli/ProcessReport.h"

#include "cli/BleedReport.h"
#include "cli/JsonText.h"
#include "cli/TerminalText.h"
#include "report/ReportFacts.h"
#include "report/ReportTexts.h"
#include "terms/DrumType.h"
#include "terms/TrackFindings.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <functional>
#include <limits>
#include <optional>
#include <string_view>
#include <utility>

namespace tessivar
{

namespace
{
using Json = nlohmann::ordered_json;
using Row = std::vector<juce::String>;

constexpr auto unknownBytes = std::numeric_limits<std::uint64_t>::max();

juce::String quoted (const juce::String& name)
{
    return "\"" + printable (name) + "\"";
}

/** The command for this kind of run. */
std::string_view commandWord (RunKind kind)
{
    return kind == RunKind::exports ? "export" : kind == RunKind::analyse ? "analyze" : "process";
}

/** Tells the channels of a stereo file apart, which share its name. */
juce::String trackLabel (const TrackState& track, const ReportedTrack& reported)
{
    const auto& source = track.sourceInfo;
    auto label = printable (reported.name);
    if (source.numChannels > 1 && reported.name == source.file.getFileNameWithoutExtension())
        label << (source.channel == 0 ? " (L)" : " (R)");
    return label;
}

juce::String typeLabel (const TrackState& track, const ReportedTrack& reported)
{
    return typeText (track.drumType()) + " (" + originText (reported.typeOrigin, reported.guess) + ")";
}

juce::String removedLabel (const TrackState& track, const ReportedTrack& reported)
{
    if (track.excluded)
        return "excluded";
    if (! track.takesPart())
        return "unchanged";
    if (! reported.isWritten())
        return "-";
    // Less than 24 bits can hold is nothing.
    constexpr double nothing = -140.0;
    return reported.output->removedPartDb < nothing ? "nothing"
                                                    : formatDb (reported.output->removedPartDb) + " dB";
}

juce::String fileLabel (const TrackState&, const ReportedTrack& reported)
{
    if (reported.isSourceItself)
        return "is the source itself, stays as it is";
    if (reported.output.has_value() && ! reported.isWritten())
        return "not written";
    return printable (reported.outputFile.getFileName());
}

juce::String focusLabel (const TrackState& track, const ReportedTrack& reported)
{
    if (! track.takesPart())
        return "-";
    return reported.knobs.focus == suggestedValue ? "suggested" : formatKnob (reported.knobs.focus);
}

juce::String fineLabel (const TrackState& track, const ReportedTrack& reported)
{
    return track.takesPart() ? formatKnob (reported.knobs.fine) : "-";
}

juce::String leakageLabel (const TrackState& track, const ReportedTrack&)
{
    if (! track.hasProcessedOutput())
        return "-";
    return track.findings.hasLeakage() ? formatDb (track.findings.leakageDb) + " dB" : "none";
}

bool hasSuggestion (const TrackState& track)
{
    return track.hasProcessedOutput() && track.findings.suggestedFocus.has_value();
}

juce::String suggestionLabel (const TrackState& track, const ReportedTrack&)
{
    if (! hasSuggestion (track))
        return "-";
    return formatKnob (static_cast<float> (*track.findings.suggestedFocus)) + " ("
           + certaintyText (track.findings.certainty()) + ")";
}

std::string formatTracks (const ProcessReport& report, const ProcessRequest& request, bool isPlan)
{
    const auto& tracks = report.group.tracks;
    const auto twinsOf = [&] (const TrackState& track)
    { return report.group.namesSharingDrumWith (static_cast<std::size_t> (&track - tracks.data())); };
    const auto twinsLabel = [&] (const TrackState& track, const ReportedTrack&)
    {
        const auto names = twinsOf (track);
        return names.isEmpty() ? juce::String ("-") : printable (names.joinIntoString (", "));
    };

    using Cell = std::function<juce::String (const TrackState&, const ReportedTrack&)>;
    std::vector<std::pair<const char*, Cell>> columns{
        { "Track", trackLabel }, { "Type", typeLabel }, { "Focus", focusLabel }, { "Fine", fineLabel }
    };
    if (report.method == AnalysisMethod::refined && ! isPlan)
        columns.insert (columns.end(), { { "Leakage", leakageLabel }, { "Suggested", suggestionLabel } });
    if (! isPlan
        && std::any_of (
            tracks.begin(), tracks.end(), [&] (const auto& track) { return ! twinsOf (track).isEmpty(); }))
        columns.emplace_back ("Hears the same drum as", twinsLabel);
    if (! isPlan && request.writesAudio())
        columns.emplace_back ("Removed", removedLabel);
    if (request.writesAudio())
        columns.emplace_back ("File", fileLabel);

    std::vector<Row> rows (report.tracks.size() + 1);
    for (const auto& [heading, cell] : columns)
    {
        rows.front().push_back (heading);
        for (std::size_t i = 0; i < report.tracks.size(); ++i)
            rows[i + 1].push_back (cell (tracks[i], report.tracks[i]));
    }
    return formatTable (rows);
}

juce::String neededAndFree (std::uint64_t needed, std::uint64_t free)
{
    return formatBytes (needed) + " needed, " + (free == unknownBytes ? "unknown" : formatBytes (free))
           + " free";
}

std::string formatForecast (const ProcessReport& report, const ProcessRequest& request)
{
    const auto& forecast = *report.forecast;
    const auto& other = forecast.otherMethod;
    juce::String text;
    if (request.analyses())
        text << "Time            " << describeForecastSeconds (forecast.analysis.seconds)
             << " for the analysis by the " << analysisMethodKey (report.method) << " method\n";
    text << "Memory          " << neededAndFree (forecast.analysis.memoryNeeded, forecast.analysis.memoryFree)
         << (forecast.analysis.spectraInMemory ? ", spectra included" : "") << "\n"
         << "Temporary disk  " << neededAndFree (forecast.analysis.diskNeeded, forecast.analysis.diskFree)
         << " in " << printable (request.temporaryFolder.getFullPathName()) << "\n"
         << "Output          " << neededAndFree (forecast.outputNeeded, forecast.outputFree) << " in "
         << printable ((request.writesAudio() ? request.outFolder : request.saveFile.getParentDirectory())
                           .getFullPathName())
         << "\n";
    if (request.reports())
        text << "Report          " << printable (request.reportFile.getFullPathName()) << "\n";
    if (request.analyses())
        text << "--method " << analysisMethodKey (otherMethod (report.method)) << " would take "
             << describeForecastSeconds (other.seconds) << ", " << formatBytes (other.memoryNeeded)
             << " of memory and " << formatBytes (other.diskNeeded) << " of temporary disk\n";
    return text.toStdString();
}

/** A heading and its lines, indented and printable; empty without lines. */
std::string formatSection (const juce::String& heading, const juce::StringArray& lines)
{
    if (lines.isEmpty())
        return {};
    auto text = heading + "\n";
    for (const auto& line : lines)
        text << "  " << printable (line) << "\n";
    return text.toStdString();
}

std::string formatTotals (const ProcessReport& report, const ProcessRequest& request)
{
    int numFiles = static_cast<int> (report.componentFiles.size());
    std::uint64_t bytes = 0;
    double longest = 0.0;
    for (const auto& track : report.group.tracks)
        longest = std::max (longest, static_cast<double> (track.lengthInSamples()) / track.sampleRate());
    for (const auto& reported : report.tracks)
        if (reported.isWritten())
        {
            ++numFiles;
            bytes += reported.output->bytes;
        }
    for (const auto& file : report.componentFiles)
        bytes += static_cast<std::uint64_t> (file.getSize());

    juce::StringArray parts;
    for (const auto& [what, seconds] : { std::pair{ "reading ", report.readingSeconds },
                                         std::pair{ "analysis ", report.analysisSeconds },
                                         std::pair{ "writing ", report.writingSeconds },
                                         std::pair{ "saving ", report.savingSeconds },
                                         std::pair{ "report ", report.reportingSeconds } })
        if (seconds > 0.0)
            parts.add (what + formatSeconds (seconds));

    juce::String text;
    if (request.writesAudio())
        text << numFiles << (numFiles == 1 ? " file, " : " files, ") << formatBytes (bytes) << ", in "
             << printable (request.outFolder.getFullPathName()) << "\n";
    if (report.savedFile != juce::File())
        text << "Group saved in " << printable (report.savedFile.getFullPathName()) << ", "
             << formatBytes (report.savedBytes) << "\n";
    if (report.reportFile != juce::File())
        text << "Report in " << printable (report.reportFile.getFullPathName()) << ", "
             << formatBytes (static_cast<std::uint64_t> (report.reportFile.getSize())) << "\n";
    text << formatSeconds (longest) << " of audio in " << formatSeconds (report.totalSeconds) << " ("
         << parts.joinIntoString (", ") << ")";
    if (request.analyses())
        text << ", seed " << juce::String (request.seed);
    text << "\n";
    return text.toStdString();
}

Json bytesToJson (std::uint64_t bytes)
{
    return bytes == unknownBytes ? Json() : Json (bytes);
}

Json workToJson (const WorkForecast& work)
{
    return { { "seconds", work.seconds },
             { "memoryNeeded", work.memoryNeeded },
             { "temporaryNeeded", work.diskNeeded } };
}

Json evidenceToJson (const TrackFindings& findings)
{
    return { { "matchDb", findings.focusMatchDb },
             { "subtractionAgreement", findings.benefit.subtractionAgreement },
             { "outputAgreement", findings.benefit.outputAgreement },
             { "subtractedDb", findings.benefit.subtractedDb } };
}

Json trackToJson (const ProcessReport& report, std::size_t index)
{
    const auto& track = report.group.tracks[index];
    const auto& reported = report.tracks[index];
    const auto& source = track.sourceInfo;
    Json json;
    json["name"] = jsonText (reported.name);
    json["source"] = jsonText (source.file.getFullPathName());
    json["channel"] = source.channel;
    json["channels"] = source.numChannels;
    json["sampleRate"] = source.sampleRate;
    json["lengthInSamples"] = track.lengthInSamples();
    json["bitsPerSample"] = source.bitsPerSample;
    json["floatingPoint"] = source.isFloatingPoint;
    json["nonFiniteSamples"] = reported.nonFiniteSamples;
    json["type"] = jsonText (drumTypeKey (track.drumType()));
    addTypeOrigin (json, reported.typeOrigin, reported.guess);
    json["soundsLike"] = typeOrNull (track.offeredType());
    json["excluded"] = track.excluded;
    json["takesPart"] = track.takesPart();
    const bool isOpen = reported.knobs.focus == suggestedValue; // the run ended before the analysis chose
    json["focus"] = isOpen ? Json() : Json (reported.knobs.focus);
    json["fine"] = reported.knobs.fine;
    json["file"] = reported.isSourceItself ? Json() : pathOrNull (reported.outputFile);

    const bool isSuggested = hasSuggestion (track);
    json["suggestedFocus"] = isSuggested ? Json (*track.findings.suggestedFocus) : Json();
    json["leakageDb"] = isSuggested ? Json (track.findings.leakageDb) : Json();
    json["agreementDb"] = isSuggested ? Json (track.findings.bestMatchDb()) : Json();
    json["certainty"] = isSuggested ? Json (certaintyText (track.findings.certainty())) : Json();
    json["hits"] = isSuggested && track.findings.numHits ? Json (*track.findings.numHits) : Json();
    json["confidence"] =
        isSuggested && track.findings.confidence ? Json (*track.findings.confidence) : Json();
    json["evidence"] = isSuggested ? evidenceToJson (track.findings) : Json();
    json["sameDrumAs"] = jsonTexts (report.group.namesSharingDrumWith (index));
    json["bleed"] = isOpen ? Json() : bleedToJson (report.group, index, reported.knobs);

    const bool written = reported.isWritten();
    json["written"] = written;
    json["fileBitsPerSample"] = written ? Json (reported.output->format.bitsPerSample) : Json();
    json["fileFloatingPoint"] = written ? Json (reported.output->format.isFloatingPoint) : Json();
    json["bytes"] = written ? Json (reported.output->bytes) : Json();
    json["removedDb"] = written ? Json (reported.output->removedPartDb) : Json();
    json["levelChangeDb"] = written ? Json (reported.output->removedDb) : Json();
    json["peak"] = written ? Json (reported.output->peak) : Json();
    json["clippedSamples"] = written ? Json (reported.output->clippedSamples) : Json();
    return json;
}
} // namespace

juce::StringArray hintsFor (const ProcessReport& report)
{
    juce::StringArray untold, heard, faint, withoutDrum, hints;
    std::optional<DrumType> likely; // of the first that is untold

    for (std::size_t i = 0; i < report.tracks.size(); ++i)
    {
        const auto& track = report.group.tracks[i];
        const auto& reported = report.tracks[i];
        if (! track.excluded && reported.typeOrigin == TypeOrigin::fallback)
        {
            if (untold.isEmpty())
                likely = track.offeredType();
            untold.addIfNotAlreadyThere (reported.name);
            if (const auto offered = track.offeredType())
                heard.add (quoted (reported.name) + " sounds like " + drumTypeNoun (*offered));
        }
        if (track.hasProcessedOutput() && track.findings.suggestedFocus == 0.0)
            withoutDrum.add (quoted (reported.name));
        if (reported.isWritten() && reported.output->removedDb < hardlyLeftDb)
            faint.add (quoted (reported.name));
    }

    if (! untold.isEmpty())
    {
        juce::StringArray names;
        for (const auto& name : untold)
            names.add (quoted (name));
        hints.add ("The name of " + names.joinIntoString (", ")
                   + " tells no drum: type Other, passed through unchanged. "
                   + (heard.isEmpty() ? juce::String() : heard.joinIntoString (", ") + ". ")
                   + "To say what it is, use --type "
                   + shellQuoted (untold[0] + "=" + drumTypeKey (likely.value_or (DrumType::snare))));
    }
    if (! withoutDrum.isEmpty())
        hints.add (withoutDrum.joinIntoString (", ")
                   + ": no drum was found that could be kept apart: it hardly plays, or most of the track "
                     "would go. The suggestion is to "
                     "leave it as it is.");
    if (! faint.isEmpty())
        hints.add ("Hardly anything is left of " + faint.joinIntoString (", ")
                   + ": the drum itself may be gone. Listen to it; a lower --focus or another --seed may "
                     "keep it.");
    return hints;
}

std::string formatReport (const ProcessReport& report, const ProcessRequest& request)
{
    // There is a result: audio or a Group.
    const bool isExported =
        report.savedFile != juce::File()
        || std::any_of (report.tracks.begin(),
                        report.tracks.end(),
                        [] (const ReportedTrack& track) { return track.output.has_value(); });

    std::vector<std::string> sections;
    if (isExported)
        sections.push_back (formatTracks (report, request, false));
    else if (request.dryRun && ! report.tracks.empty())
        sections.push_back (formatTracks (report, request, true));
    if (request.dryRun && report.forecast.has_value())
        sections.push_back (formatForecast (report, request));

    for (const auto& warning : report.warnings)
        sections.push_back (warning.entries.isEmpty() ? warning.message.toStdString() + "\n"
                                                      : formatSection (warning.message, warning.entries));
    sections.push_back (formatSection ("Notes", report.notes));
    for (const auto& hint : report.hints)
        sections.push_back (hint.toStdString() + "\n");
    sections.push_back (formatSection ("Export log", report.log));
    if (isExported)
        sections.push_back (formatTotals (report, request));

    std::string text;
    for (const auto& section : sections)
        if (! section.empty())
            text += (text.empty() ? "" : "\n") + section;
    return text;
}

Json reportToJson (const ProcessReport& report, const ProcessRequest& request)
{
    auto json = jsonHeading (commandWord (request.kind), report.exitCode);
    json["dryRun"] = request.dryRun;

    json["settings"] = Json{
        { "group", pathOrNull (request.groupFile) },
        { "out", request.writesAudio() ? Json (jsonText (request.outFolder.getFullPathName())) : Json() },
        { "save", pathOrNull (request.saveFile) },
        { "report", pathOrNull (request.reportFile) },
        { "reportAudio", request.reportAudio },
        { "format", jsonText (request.extension.substring (1)) },
        { "depth", request.depth == ExportDepth::float32 ? "float" : "source" },
        { "overwrite", request.overwrite },
        { "components", request.components },
        { "method", analysisMethodKey (report.method) },
        { "seed", request.seed },
        { "threads", request.numThreads },
        { "temporaryFolder", jsonText (request.temporaryFolder.getFullPathName()) },
    };

    json["forecast"] = Json();
    if (report.forecast.has_value())
    {
        json["forecast"] = Json{
            { "memoryNeeded", report.forecast->analysis.memoryNeeded },
            { "memoryFree", bytesToJson (report.forecast->analysis.memoryFree) },
            { "spectraInMemory", report.forecast->analysis.spectraInMemory },
            { "temporaryNeeded", report.forecast->analysis.diskNeeded },
            { "temporaryFree", bytesToJson (report.forecast->analysis.diskFree) },
            { "outputNeeded", report.forecast->outputNeeded },
            { "outputFree", bytesToJson (report.forecast->outputFree) },
        };

        for (const auto* work : { &report.forecast->analysis, &report.forecast->otherMethod })
        {
            const auto isOther = work == &report.forecast->otherMethod;
            json["forecast"][analysisMethodKey (isOther ? otherMethod (report.method) : report.method)] =
                request.analyses() ? workToJson (*work) : Json();
        }
    }

    json["tracks"] = Json::array();
    for (std::size_t i = 0; i < report.tracks.size(); ++i)
        json["tracks"].push_back (trackToJson (report, i));

    json["componentFiles"] = Json::array();
    for (const auto& file : report.componentFiles)
        json["componentFiles"].push_back (jsonText (file.getFullPathName()));

    json["savedFile"] = pathOrNull (report.savedFile);
    json["savedBytes"] = report.savedFile != juce::File() ? Json (report.savedBytes) : Json();

    json["reportFile"] = pathOrNull (report.reportFile);

    json["refused"] = Json::array();
    for (const auto& refused : report.refused)
        json["refused"].push_back (Json{
            { "file", jsonText (refused.file) },
            { "code", valueOrNull (refused.code) },
            { "reason", jsonText (refused.reason) },
        });

    json["warnings"] = warningsToJson (report.warnings);
    json["notes"] = jsonTexts (report.notes);
    json["hints"] = jsonTexts (report.hints);
    json["errors"] = jsonTexts (report.errors);
    json["log"] = jsonTexts (report.log);
    json["seconds"] = Json{
        { "reading", report.readingSeconds },     { "analysis", report.analysisSeconds },
        { "writing", report.writingSeconds },     { "saving", report.savingSeconds },
        { "reporting", report.reportingSeconds }, { "total", report.totalSeconds },
    };
    return json;
}

} // namespace tessivar
