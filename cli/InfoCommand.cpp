#include "cli/Commands.h"

#include "cli/Arguments.h"
#include "cli/GroupInfo.h"
#include "cli/JsonText.h"
#include "cli/TerminalText.h"
#include "cli/TypeOrigin.h"
#include "model/audiofile/AudioIntake.h"
#include "report/ReportTexts.h"
#include "terms/Mathematics.h"

#include <algorithm>
#include <optional>
#include <ostream>
#include <utility>

namespace tessivar
{

namespace
{
using Json = nlohmann::ordered_json;

/** Everything known about one file. */
struct FileInfo
{
    juce::String path;
    Intake intake;
    std::vector<ImportWarnings::Warning> warnings;
};

FileInfo readInfo (const juce::File& file, const CommandContext& context)
{
    FileInfo info;
    info.path = file.getFullPathName();

    ImportWarnings warnings;
    IntakeSink sink;
    info.intake =
        intakeFile (file, 0.0, warnings, &sink, { .shouldStop = context.stopRequested, .setProgress = {} });
    warnings.show (
        [&info] (const ImportWarnings::Warning& warning)
        {
            info.warnings.push_back (warning);
            return false;
        });
    return info;
}

float peakOf (const Intake& intake)
{
    float peak = 0.0f;
    for (const auto& track : intake.tracks)
        peak = std::max (peak, track.peak);
    return peak;
}

std::int64_t nonFiniteSamplesOf (const Intake& intake)
{
    std::int64_t count = 0;
    for (const auto& track : intake.tracks)
        count += track.nonFiniteSamples;
    return count;
}

std::string formatInfo (const FileInfo& info)
{
    juce::String text = printable (info.path) + "\n";
    if (info.intake.accepted())
    {
        const auto& track = info.intake.tracks.front().state;
        const auto& source = track.sourceInfo;
        const auto& guess = info.intake.guess;
        const auto peak = peakOf (info.intake);
        text << "  Format    " << info.intake.formatName << ", " << source.bitsPerSample << "-bit"
             << (source.isFloatingPoint ? " float" : "") << "\n"
             << "  Rate      " << juce::String (source.sampleRate) << " Hz\n"
             << "  Channels  " << source.numChannels << "\n"
             << "  Length    " << juce::String (track.lengthInSamples()) << " samples, "
             << juce::String (intakeDurationSeconds (track.lengthInSamples(), source.sampleRate), 2) << " s\n"
             << "  Peak      "
             << (peak > 0.0f ? formatDb (20.0 * math::log10 (static_cast<double> (peak))) + " dBFS"
                             : juce::String ("silence"))
             << "\n"
             << "  Type      " << typeText (track.drumType()) << " (" << originText (originOf (guess), guess)
             << ")\n";
    }
    else
    {
        text << "  Refused\n";
    }

    for (const auto& warning : info.warnings)
        text << "  Warning   " << warning.code << ": " << warning.message << "\n";
    for (const auto& note : info.intake.notes)
        text << "  Note      " << printable (note) << "\n";
    return text.toStdString();
}

Json infoToJson (const FileInfo& info)
{
    Json json;
    json["file"] = jsonText (info.path);
    json["accepted"] = info.intake.accepted();
    json["refusalCode"] = valueOrNull (info.intake.code);
    json["reason"] = info.intake.accepted() ? Json() : Json (jsonText (info.intake.outcome.reason));
    json["warnings"] = warningsToJson (info.warnings);
    json["notes"] = jsonTexts (info.intake.notes);
    if (! info.intake.accepted())
        return json;

    const auto& track = info.intake.tracks.front().state;
    const auto& source = track.sourceInfo;
    json["format"] = jsonText (info.intake.formatName);
    json["sampleRate"] = source.sampleRate;
    json["channels"] = source.numChannels;
    json["bitsPerSample"] = source.bitsPerSample;
    json["floatingPoint"] = source.isFloatingPoint;
    json["lengthInSamples"] = track.lengthInSamples();
    json["seconds"] = static_cast<double> (track.lengthInSamples()) / source.sampleRate;
    json["peak"] = peakOf (info.intake);
    json["nonFiniteSamples"] = nonFiniteSamplesOf (info.intake);
    json["type"] = jsonText (drumTypeKey (track.drumType()));
    addTypeOrigin (json, originOf (info.intake.guess), info.intake.guess);
    json["metadata"] = metadataToJson (source.metadata);
    return json;
}
/** What to print about one argument. */
struct Finding
{
    bool accepted = false;
    juce::String error; // when not accepted
    std::string text;
    Json json;
};

Finding refusal (const juce::String& path, const juce::String& reason)
{
    FileInfo info;
    info.path = path;
    info.intake.outcome = Outcome::refused (reason.toStdString());
    return { false, reason, formatInfo (info), infoToJson (info) };
}

Finding examineGroup (const juce::File& file)
{
    LoadedGroup group;
    const auto outcome = openGroupFile (file, group);
    return outcome.failed()
               ? refusal (file.getFullPathName(), outcome.getErrorMessage())
               : Finding{ true, {}, formatGroupInfo (file, group), groupInfoToJson (file, group) };
}

/** Nothing when interrupted. */
std::optional<Finding> examine (const std::string& argument, const CommandContext& context)
{
    juce::File file;

    if (const auto outcome = fileFromArgument (argument, file); outcome.failed())
        return refusal (textOf (argument), outcome.getErrorMessage());

    if (file.hasFileExtension ("dls"))
        return examineGroup (file);

    const auto info = readInfo (file, context);

    if (info.intake.outcome.wasStopped())
        return {};

    return Finding{
        info.intake.accepted(), info.intake.outcome.reason, formatInfo (info), infoToJson (info)
    };
}
} // namespace

int runInfo (const Invocation& invocation, const CommandContext& context)
{
    const auto asJson = invocation.has ("--json");
    std::size_t numRefused = 0;
    std::vector<Finding> findings;

    for (const auto& argument : invocation.operands)
    {
        auto finding = examine (argument, context);

        if (! finding.has_value())
            return context.failInterrupted();

        findings.push_back (std::move (*finding));
    }

    auto documents = Json::array();

    for (auto& finding : findings)
    {
        if (! finding.accepted)
        {
            context.tellError (finding.error);
            ++numRefused;
        }
        if (asJson)
            documents.push_back (std::move (finding.json));
        else
            context.out << finding.text;
    }

    const auto code = numRefused == 0                 ? exitCode::done
                      : numRefused == findings.size() ? exitCode::inputRefused
                                                      : exitCode::someFailed;
    if (asJson)
    {
        auto json = jsonHeading ("info", code);
        json["files"] = std::move (documents);
        printJson (context.out, json);
    }
    return code;
}

} // namespace tessivar
