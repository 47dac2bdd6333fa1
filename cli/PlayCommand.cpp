#include "cli/Commands.h"

#include "cli/JsonText.h"
#include "cli/PlayRequest.h"
#include "cli/ProgressDisplay.h"
#include "cli/TerminalText.h"
#include "cli/TrackChoices.h"
#include "jobs/MonoFileWriter.h"
#include "model/OutputRules.h"
#include "model/groupfile/GroupFileLoading.h"
#include "model/settings/UserFolders.h"
#include "platform/AtomicFile.h"
#include "playback/OfflineMix.h"
#include "playback/PlaybackDevice.h"
#include "playback/PlaybackEngine.h"
#include "terms/KnobValues.h"

#include <juce_events/juce_events.h>

#include <algorithm>
#include <cmath>
#include <ostream>

namespace tessivar
{

namespace
{
constexpr std::int64_t renderBlock = 16384; // samples
constexpr int pollMs = 20;

/** The Group of a request, ready for playback. */
struct Programme
{
    LoadedGroup loaded; // keeps the file open
    std::vector<PlaybackTrack> tracks;
    double sampleRate = 0.0;
    std::int64_t start = 0, end = 0; // samples
    PlaybackChoice choice;
};

/** Prints a failure, if any, and returns its exit code, or done. */
int prepare (const PlayRequest& request, const CommandContext& context, Programme& programme)
{
    if (const auto opened = openGroupFile (request.groupFile, programme.loaded); opened.failed())
        return context.fail (exitCode::inputRefused, opened.getErrorMessage());

    const auto& group = programme.loaded.state;

    if (const auto known = checkPatterns ("--track", request.tracks, namesOf (group)); known.failed())
        return context.fail (exitCode::usage, known.getErrorMessage());

    for (const auto& track : group.tracks)
    {
        if (! request.tracks.isEmpty() && ! matchesAny (track.name, request.tracks))
            continue;

        auto& playing = programme.tracks.emplace_back (PlaybackTrack::of (track));
        playing.id = static_cast<std::uint32_t> (programme.tracks.size());

        if (request.setting)
            playing.mix.usesSettingB = *request.setting == KnobSetting::b;

        programme.end = std::max (programme.end, track.lengthInSamples());
    }

    programme.sampleRate = group.sampleRate();
    programme.choice.listening = request.listening;
    programme.choice.playsWholeGroup = true;
    programme.start = static_cast<std::int64_t> (std::llround (request.from * programme.sampleRate));

    if (request.to)
        programme.end = std::min (
            programme.end, static_cast<std::int64_t> (std::llround (*request.to * programme.sampleRate)));

    return programme.start < programme.end
               ? exitCode::done
               : context.fail (exitCode::inputRefused,
                               request.groupFile.getFullPathName() + ": nothing plays in this range");
}

juce::String lastErrorOf (const Programme& programme)
{
    for (const auto& track : programme.tracks)
        if (track.samples != nullptr && track.samples->lastError().isNotEmpty())
            return track.samples->lastError();

    return programme.loaded.file->path().getFullPathName();
}

/** Plays from start to end; true unless interrupted or the device failed. */
bool playThrough (PlaybackEngine& engine,
                  PlaybackDevice& device,
                  const Programme& programme,
                  const CommandContext& context,
                  ProgressDisplay& progress)
{
    const auto length = static_cast<double> (programme.end - programme.start);
    auto lost = juce::String();
    device.onLost = [&] (const juce::String& reason) { lost = reason; };
    engine.seek (programme.start);
    engine.play();
    auto nextTick = juce::Time::getMillisecondCounter();

    while (engine.position() < programme.end && lost.isEmpty())
    {
        if (context.isStopRequested())
            break;

        juce::MessageManager::getInstance()->runDispatchLoopUntil (pollMs);
        progress.setProgress (
            std::clamp (static_cast<double> (engine.position() - programme.start) / length, 0.0, 1.0));

        if (const auto now = juce::Time::getMillisecondCounter(); now >= nextTick)
        {
            device.tick();
            engine.collect();
            nextTick = now + 250;
        }

        // At the end the engine stops by itself, at its full length.
        if (! engine.isPlaying() && engine.position() != programme.start)
            break;
    }

    device.tick();
    engine.stop();
    juce::MessageManager::getInstance()->runDispatchLoopUntil (pollMs);

    if (lost.isNotEmpty())
        context.tellError (lost);

    return lost.isEmpty() && ! context.isStopRequested();
}

/** How a playback went. */
struct Played
{
    juce::String device; // and its rate; empty: none was opened
    double seconds = 0.0;
    std::uint64_t dropouts = 0, lateReads = 0;
    juce::String readError; // empty: everything was read
};

juce::String countText (std::uint64_t count, const char* noun)
{
    return juce::String (count) + " " + noun + (count == 1 ? "" : "s");
}

int play (const PlayRequest& request, const CommandContext& context, Played& result)
{
    Programme programme;

    if (const auto code = prepare (request, context, programme); code != exitCode::done)
        return code;

    juce::TimeSliceThread readAhead ("playbackReadAheadThreadName");
    readAhead.startThread();
    PlaybackEngine engine (readAhead);
    engine.setPlaysWholeGroup (true);
    engine.setListening (request.listening);
    engine.setTracks (programme.tracks, programme.sampleRate);

    // Settings saved by the window stay untouched.
    PlaybackDevice device (engine, juce::File());
    const auto opened = request.device.isEmpty() ? device.open() : device.openByName (request.device);

    if (opened.failed())
        return context.fail (exitCode::outputFailed,
                             opened.getErrorMessage().trimCharactersAtEnd (".")
                                 + "; the command devices lists what there is");

    device.matchGroupRate();
    result.device = device.statusText();
    ProgressDisplay progress (context.diagnostics,
                              request.quiet || ! context.diagnosticsAreTerminal ? ProgressDisplay::Style::none
                                                                                : ProgressDisplay::Style::bar,
                              [] { return juce::Time::getMillisecondCounterHiRes() / 1000.0; });
    progress.beginStage ("Playing");
    const auto played = playThrough (engine, device, programme, context, progress);
    progress.finish();
    result.seconds = static_cast<double> (std::min (engine.position(), programme.end) - programme.start)
                     / programme.sampleRate;
    result.dropouts = device.numDropouts();

    if (const auto unreadable = engine.unreadableSamples())
        result.readError = unreadable->lastError();

    // What can't be read isn't there in time either, but the disk is not to blame for that.
    if (result.readError.isNotEmpty())
        context.tellError ("audio can't be read: " + result.readError);
    else
        result.lateReads = engine.counters().lateBlocks;

    readAhead.stopThread (10000);

    if (played)
        return result.readError.isEmpty() ? exitCode::done : exitCode::someFailed;

    return context.isStopRequested() ? exitCode::interrupted : exitCode::outputFailed;
}
} // namespace

int runPlay (const Invocation& invocation, const CommandContext& context)
{
    PlayRequest request;
    if (const auto parsed = parsePlayRequest (invocation, request); parsed.failed())
        return context.failUsage (parsed.getErrorMessage(), invocation.command);

    const juce::ScopedJuceInitialiser_GUI messages;
    Played played;
    const auto code = play (request, context, played);

    if (request.json)
    {
        auto json = jsonHeading ("play", code);
        json["group"] = jsonText (request.groupFile.getFullPathName());
        json["device"] = textOrNull (played.device);
        json["seconds"] = played.seconds;
        json["dropouts"] = played.dropouts;
        json["lateReads"] = played.lateReads;
        json["readError"] = textOrNull (played.readError);
        printJson (context.out, json);
    }
    else if (played.device.isNotEmpty() && ! request.quiet)
    {
        context.out << formatSeconds (played.seconds) << " played, "
                    << printable (played.device + ", " + countText (played.dropouts, "dropout"));

        if (played.lateReads > 0)
            context.out << "; the disk could not keep up "
                        << countText (played.lateReads, "time").toStdString();

        context.out << "\n";
    }

    return code;
}

int runRender (const Invocation& invocation, const CommandContext& context)
{
    PlayRequest request;
    if (const auto parsed = parsePlayRequest (invocation, request); parsed.failed())
        return context.failUsage (parsed.getErrorMessage(), invocation.command);

    Programme programme;

    if (const auto code = prepare (request, context, programme); code != exitCode::done)
        return code;

    OutputRules rules;
    rules.protectGroupFile (request.groupFile);
    rules.protect (programme.loaded.state);

    if (const auto claimed = rules.claimFile (request.outFile, request.overwrite); claimed.failed())
        return context.fail (exitCode::outputFailed, claimed.getErrorMessage());

    MonoFilePlan plan;
    plan.type = exportFileTypeFor (request.outFile.getFileExtension());
    plan.format = exportSampleFormatFor (32, true, plan.type);
    plan.sampleRate = programme.sampleRate;
    plan.lengthInSamples = programme.end - programme.start;
    const WritingNote note (UserFolders::ofUser().writing(), request.outFile.getParentDirectory());
    MonoFileWriter writer (request.outFile, plan, FileSystemCalls::system());
    OfflineMix mix (programme.tracks, programme.sampleRate, programme.choice);
    std::vector<float> samples (static_cast<std::size_t> (renderBlock));
    auto outcome = plan.check();

    if (outcome.wasOk())
        outcome = writer.openFile();

    if (outcome.wasOk())
        outcome = writer.createWriter();

    for (auto start = programme.start; start < programme.end && outcome.wasOk(); start += renderBlock)
    {
        if (context.isStopRequested())
            return context.failInterrupted();

        const auto count = static_cast<std::size_t> (std::min (renderBlock, programme.end - start));
        const auto block = std::span<float> (samples).first (count);

        if (! mix.read (start, block))
            outcome = juce::Result::fail ("audio can't be read: " + lastErrorOf (programme));
        else
            outcome = writer.write (block);
    }

    if (outcome.wasOk())
        outcome = writer.finish();

    if (outcome.wasOk())
        outcome = writer.commit (request.overwrite ? AtomicFile::IfTargetExists::replace
                                                   : AtomicFile::IfTargetExists::fail);

    if (outcome.failed())
        return context.fail (exitCode::outputFailed, outcome.getErrorMessage());

    if (! request.quiet)
        context.out << printable (request.outFile.getFullPathName()) << ": "
                    << formatSeconds (static_cast<double> (plan.lengthInSamples) / plan.sampleRate) << ", "
                    << formatBytes (plan.fileBytes()) << "\n";

    return exitCode::done;
}

int runDevices (const Invocation&, const CommandContext& context)
{
    const juce::ScopedJuceInitialiser_GUI messages;
    juce::TimeSliceThread readAhead ("playbackReadAheadThreadName");
    PlaybackEngine engine (readAhead);
    PlaybackDevice device (engine, juce::File());
    const auto names = device.outputNames();

    for (const auto& name : names)
        context.out << printable (name) << "\n";

    return names.isEmpty() ? context.fail (exitCode::outputFailed, "there is no audio device")
                           : exitCode::done;
}

} // namespace tessivar
