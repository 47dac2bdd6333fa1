#include "model/audiofile/AudioIntake.h"

#include "model/audiofile/AudioFileReaders.h"
#include "platform/DiskNames.h"
#include "terms/SampleRates.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace tessivar
{

namespace
{
using juce::String;

constexpr double longDurationSeconds = 600.0;

/** "44100 Hz", "44099.5 Hz" */
String rateText (double sampleRate)
{
    const auto isWhole = sampleRate == std::floor (sampleRate);
    return String (sampleRate, isWhole ? 0 : 3) + " Hz";
}

String supportedRatesText()
{
    juce::StringArray rates;
    for (const auto rate : supportedSampleRates)
        rates.add (String (rate));

    return rates.joinIntoString (", ");
}

/** What the user reads in a list: the file's name, also when there is hardly one. */
String entryOf (const juce::File& file)
{
    const auto name = file.getFileName();
    return name.isNotEmpty() ? name : String ("(no file name)");
}

/** A track of a Group need not have come from a file. */
String entryOf (const TrackState& track)
{
    const auto& file = track.sourceInfo.file;
    return file.getFullPathName().isNotEmpty() ? entryOf (file) : track.name;
}

Intake
refused (Intake intake, ImportWarnings& warnings, const juce::File& file, int code, const String& reason)
{
    warnings.add (entryOf (file), code, reason);
    intake.tracks.clear();
    intake.code = code;
    intake.outcome = Outcome::refused ((entryOf (file) + ": " + reason).toStdString());
    return intake;
}

std::vector<IntakeTrack>
tracksOf (const juce::File& file, const AudioFileReader& reader, const TrackClassification& guess)
{
    const auto name = readablePath (file.getFileNameWithoutExtension());
    const auto numChannels = static_cast<int> (reader.numChannels);
    std::vector<IntakeTrack> tracks;

    for (int channel = 0; channel < numChannels; ++channel)
    {
        TrackState state;
        state.name = name + (numChannels == 1 ? "" : channel == 0 ? " L" : " R");
        state.sourceInfo = { .file = file,
                             .channel = channel,
                             .numChannels = numChannels,
                             .sampleRate = reader.sampleRate,
                             .bitsPerSample = static_cast<int> (reader.bitsPerSample),
                             .isFloatingPoint = reader.header().isFloatingPoint,
                             .metadata = reader.metadataValues,
                             .chunks = nullptr };
        state.record.setLengthInSamples (reader.lengthInSamples);
        state.record.setDrumType (guess.drumType);
        state.typeUnknown = ! guess.matched;
        state.record.setKnobs (KnobSetting::a, startKnobsA);
        state.record.setKnobs (KnobSetting::b, startKnobsB);
        tracks.push_back ({ .state = std::move (state) });
    }

    return tracks;
}

/** Replaces what is not a number by silence, and keeps count and peak of the track. */
void measure (std::span<float> samples, IntakeTrack& track)
{
    // As whole numbers, magnitudes keep their order, and what is not finite comes last: so a loop without
    // branches, which runs in vectors, tells whether there is any.
    constexpr std::uint32_t magnitudeBits = 0x7fffffff, infinity = 0x7f800000;
    const auto peakOf = [&]
    {
        std::uint32_t peak = 0;
        for (const auto sample : samples)
            peak = std::max (peak, std::bit_cast<std::uint32_t> (sample) & magnitudeBits);

        return peak;
    };

    auto peak = peakOf();
    if (peak >= infinity)
    {
        for (auto& sample : samples)
            if (! std::isfinite (sample))
            {
                sample = 0.0f;
                ++track.nonFiniteSamples;
            }

        peak = peakOf();
    }

    track.peak = std::max (track.peak, std::bit_cast<float> (peak));
}

enum class Decoding
{
    finished,
    stopped,
    damaged,
    storageFailed
};

/** Decodes the whole file into the sink. Returns through position where it ended. */
Decoding decode (AudioFileReader& reader,
                 std::vector<IntakeTrack>& tracks,
                 IntakeSink& sink,
                 const WorkControl& control,
                 std::int64_t& position)
{
    if (! sink.begin (tracks))
        return Decoding::storageFailed;

    juce::AudioBuffer<float> buffer (static_cast<int> (tracks.size()), intakeBlockLength);
    const auto length = std::int64_t{ reader.lengthInSamples };
    for (position = 0; position < length;)
    {
        if (control.stopRequested())
            return Decoding::stopped;

        const auto count = static_cast<int> (std::min<std::int64_t> (intakeBlockLength, length - position));
        if (! reader.read (buffer.getArrayOfWritePointers(), buffer.getNumChannels(), position, count))
            return control.stopRequested() ? Decoding::stopped : Decoding::damaged;

        for (int channel = 0; auto& track : tracks)
        {
            const std::span samples (buffer.getWritePointer (channel), static_cast<std::size_t> (count));
            measure (samples, track);
            if (! sink.block (channel++, position, samples))
                return Decoding::storageFailed;
        }

        position += count;
        control.progress (static_cast<double> (position) / static_cast<double> (length));
    }

    return Decoding::finished;
}
} // namespace

std::optional<IntakeRefusal> checkTrack (const String& name,
                                         double sampleRate,
                                         std::int64_t lengthInSamples,
                                         double groupSampleRate,
                                         ImportWarnings& warnings)
{
    if (groupSampleRate > 0.0 && sampleRate != groupSampleRate)
        return IntakeRefusal{ ImportWarnings::differentSampleRate,
                              rateText (sampleRate) + " in a group of " + rateText (groupSampleRate) };
    if (! isSupportedSampleRate (sampleRate))
        return IntakeRefusal{ ImportWarnings::unsupportedSampleRate,
                              "a sample rate of " + rateText (sampleRate) + "; supported are "
                                  + supportedRatesText() };

    // No space before the unit: the entry's form is fixed.
    const auto durationSeconds = intakeDurationSeconds (lengthInSamples, sampleRate);
    const auto durationEntry = name + " (" + String (durationSeconds, 2) + "secs)";
    if (durationSeconds > longDurationSeconds)
        warnings.add (durationEntry, ImportWarnings::longDuration);
    if (durationSeconds < shortDurationSeconds)
        warnings.add (durationEntry, ImportWarnings::shortDuration);

    if (lengthInSamples < intakeBlockLength)
        return IntakeRefusal{ ImportWarnings::tooShort,
                              String (lengthInSamples) + " samples; at least " + String (intakeBlockLength)
                                  + " are needed" };

    return {};
}

Intake intakeFile (const juce::File& file,
                   double groupSampleRate,
                   ImportWarnings& warnings,
                   IntakeSink* sink,
                   const WorkControl& control)
{
    Intake intake;
    const auto refuse = [&] (int code, const String& reason)
    { return refused (std::move (intake), warnings, file, code, reason); };
    const auto stopped = []
    {
        Intake stop;
        stop.outcome = Outcome::stopped();
        return stop;
    };

    if (file.getFullPathName().isEmpty())
        return refuse (ImportWarnings::missing, "no path is given");
    if (file.isDirectory())
        return refuse (ImportWarnings::missing, "this is a folder, not a file");
    if (! file.exists())
        return refuse (ImportWarnings::missing, "there is no such file");

    auto why = juce::Result::ok();
    const auto reader = openAudioFile (file, why, control.shouldStop);
    if (reader == nullptr && control.stopRequested())
        return stopped();
    if (reader == nullptr)
        return refuse (ImportWarnings::unreadable, why.getErrorMessage());
    if (reader->numChannels > 2)
        return refuse (ImportWarnings::unreadable,
                       String (reader->numChannels) + " channels; files of 1 or 2 can be taken");

    if (const auto refusal = checkTrack (
            file.getFileName(), reader->sampleRate, reader->lengthInSamples, groupSampleRate, warnings))
        return refuse (refusal->code, refusal->reason);

    intake.formatName = reader->getFormatName();
    intake.guess = classifyTrackFile (file.getFullPathName());
    intake.tracks = tracksOf (file, *reader, intake.guess);
    for (const auto& note : reader->header().notes)
        intake.notes.add (file.getFileName() + ": " + note);

    std::int64_t position = 0;
    switch (sink != nullptr ? decode (*reader, intake.tracks, *sink, control, position) : Decoding::finished)
    {
        case Decoding::finished:
            break;
        case Decoding::stopped:
            return stopped();
        case Decoding::storageFailed:
            intake.tracks.clear();
            intake.outcome =
                Outcome::noRoom ((file.getFileName() + ": its samples can't be stored").toStdString());
            return intake;
        case Decoding::damaged:
            return refuse (ImportWarnings::unreadable,
                           reader->status().failed() ? reader->status().getErrorMessage()
                                                     : "damaged: of " + String (reader->lengthInSamples)
                                                           + " samples only those up to about "
                                                           + String (position) + " can be decoded");
    }

    for (const auto& track : intake.tracks)
        if (track.nonFiniteSamples > 0)
            intake.notes.add (file.getFileName() + ", channel " + String (track.state.sourceInfo.channel + 1)
                              + ": " + String (track.nonFiniteSamples)
                              + " samples are not finite numbers and are read as 0");

    return intake;
}

void checkBatch (std::span<const TrackState> groupTracks,
                 std::span<const TrackState> batch,
                 ImportWarnings& warnings)
{
    if (batch.empty())
        return;

    const auto longestOf = [] (std::span<const TrackState> tracks)
    {
        std::int64_t longest = 0;
        for (const auto& track : tracks)
            longest = std::max (longest, track.lengthInSamples());
        return longest;
    };
    const auto longestBefore = longestOf (groupTracks);
    const auto longest = std::max (longestBefore, longestOf (batch));

    for (const auto& track : groupTracks)
        if (track.lengthInSamples() == longestBefore && track.lengthInSamples() < longest)
            warnings.add (entryOf (track), ImportWarnings::shorterThanGroup);
    for (const auto& track : batch)
        if (track.lengthInSamples() < longest)
            warnings.add (entryOf (track), ImportWarnings::shorterThanGroup);

    const auto bits = groupTracks.empty() ? batch.front().sourceInfo.bitsPerSample
                                          : groupTracks.front().sourceInfo.bitsPerSample;
    for (const auto& track : batch)
        if (track.sourceInfo.bitsPerSample != bits)
            warnings.add (entryOf (track), ImportWarnings::differentBitDepths);
}

double intakeDurationSeconds (std::int64_t lengthInSamples, double sampleRate)
{
    const auto hundredths = static_cast<double> (lengthInSamples) / sampleRate * 100.0;
    // Longer than eight months: such a length comes from a header, and would not fit.
    constexpr double largest = 2147483647.0;
    return static_cast<std::int32_t> (std::min (hundredths, largest)) * 0.01;
}

} // namespace tessivar
