#include "model/audiofile/AudioIntake.h"

#include "model/Abbreviations.h"
#include "model/DiskNames.h"
#include "model/audiofile/AudioFileReaders.h"

#include <algorithm>
#include <cmath>

namespace tessivar
{

namespace
{
using juce::String;

constexpr double shortDurationSeconds = 30.0;
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
String entryOf (const IntakeTrack& track)
{
    return track.file.getFullPathName().isNotEmpty() ? entryOf (track.file) : track.name;
}

void refuse (
    IntakeOutcome& outcome, ImportWarnings& warnings, const juce::File& file, int code, const String& reason)
{
    warnings.add (entryOf (file), code, reason);
    outcome.tracks.clear();
    outcome.code = code;
    outcome.reason = entryOf (file) + ": " + reason;
}

std::vector<IntakeTrack> tracksOf (const juce::File& file, const AudioFileReader& reader)
{
    const auto classification = classifyTrackFile (file.getFullPathName());

    IntakeTrack track;
    track.file = file;
    track.name = readablePath (file.getFileNameWithoutExtension());
    track.numChannels = static_cast<int> (reader.numChannels);
    track.sampleRate = reader.sampleRate;
    track.lengthInSamples = reader.lengthInSamples;
    track.numBlocks = reader.lengthInSamples / intakeBlockLength;
    track.bitsPerSample = static_cast<int> (reader.bitsPerSample);
    track.isFloatingPoint = reader.header().isFloatingPoint;
    track.metadata = reader.metadataValues;
    track.formatName = reader.getFormatName();
    track.drumType = classification.drumType;
    track.matchedAbbreviation = classification.abbreviation;

    std::vector<IntakeTrack> tracks;
    for (int channel = 0; channel < track.numChannels; ++channel)
    {
        track.channel = channel;
        tracks.push_back (track);
    }

    return tracks;
}

/** Replaces what is not a number by silence, and keeps count and peak of the track. */
void measure (std::span<float> samples, IntakeTrack& track)
{
    for (auto& sample : samples)
    {
        if (! std::isfinite (sample))
        {
            sample = 0.0f;
            ++track.nonFiniteSamples;
        }
        track.peak = std::max (track.peak, std::abs (sample));
    }
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

        for (auto& track : tracks)
        {
            const std::span samples (buffer.getWritePointer (track.channel),
                                     static_cast<std::size_t> (count));
            measure (samples, track);
            if (! sink.block (track.channel, position, samples))
                return Decoding::storageFailed;
        }

        position += count;
        if (control.setProgress)
            control.setProgress (static_cast<double> (position) / static_cast<double> (length));
    }

    return Decoding::finished;
}
} // namespace

bool isSupportedSampleRate (double sampleRate)
{
    return std::any_of (supportedSampleRates.begin(),
                        supportedSampleRates.end(),
                        [=] (int rate) { return sampleRate == static_cast<double> (rate); });
}

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

IntakeOutcome intakeFile (const juce::File& file,
                          double groupSampleRate,
                          ImportWarnings& warnings,
                          IntakeSink* sink,
                          const WorkControl& control)
{
    IntakeOutcome outcome;

    if (file.getFullPathName().isEmpty())
        return refuse (outcome, warnings, file, ImportWarnings::missing, "no path is given"), outcome;
    if (file.isDirectory())
        return refuse (outcome, warnings, file, ImportWarnings::missing, "this is a folder, not a file"),
               outcome;
    if (! file.exists())
        return refuse (outcome, warnings, file, ImportWarnings::missing, "there is no such file"), outcome;

    auto why = juce::Result::ok();
    const auto reader = openAudioFile (file, why, control.shouldStop);
    outcome.cancelled = reader == nullptr && control.stopRequested();
    if (outcome.cancelled)
        return outcome;
    if (reader == nullptr)
        return refuse (outcome, warnings, file, ImportWarnings::unreadable, why.getErrorMessage()), outcome;
    if (reader->numChannels > 2)
        return refuse (outcome,
                       warnings,
                       file,
                       ImportWarnings::unreadable,
                       String (reader->numChannels) + " channels; files of 1 or 2 can be taken"),
               outcome;

    if (const auto refusal = checkTrack (
            file.getFileName(), reader->sampleRate, reader->lengthInSamples, groupSampleRate, warnings))
        return refuse (outcome, warnings, file, refusal->code, refusal->reason), outcome;

    auto tracks = tracksOf (file, *reader);
    for (const auto& note : reader->header().notes)
        outcome.notes.add (file.getFileName() + ": " + note);

    std::int64_t position = 0;
    switch (sink != nullptr ? decode (*reader, tracks, *sink, control, position) : Decoding::finished)
    {
        case Decoding::finished:
            break;
        case Decoding::stopped:
            outcome.cancelled = true;
            return outcome;
        case Decoding::storageFailed:
            outcome.storageFailed = true;
            outcome.reason = file.getFileName() + ": its samples can't be stored";
            return outcome;
        case Decoding::damaged:
            refuse (outcome,
                    warnings,
                    file,
                    ImportWarnings::unreadable,
                    reader->status().failed()
                        ? reader->status().getErrorMessage()
                        : "damaged: of " + String (reader->lengthInSamples)
                              + " samples only those up to about " + String (position) + " can be decoded");
            return outcome;
    }

    for (const auto& track : tracks)
        if (track.nonFiniteSamples > 0)
            outcome.notes.add (file.getFileName() + ", channel " + String (track.channel + 1) + ": "
                               + String (track.nonFiniteSamples)
                               + " samples are not finite numbers and are read as 0");

    outcome.tracks = std::move (tracks);
    return outcome;
}

void checkBatch (std::span<const IntakeTrack> groupTracks,
                 std::span<const IntakeTrack> batch,
                 ImportWarnings& warnings)
{
    if (batch.empty())
        return;

    const auto longestOf = [] (std::span<const IntakeTrack> tracks)
    {
        std::int64_t longest = 0;
        for (const auto& track : tracks)
            longest = std::max (longest, track.lengthInSamples);
        return longest;
    };
    const auto longestBefore = longestOf (groupTracks);
    const auto longest = std::max (longestBefore, longestOf (batch));

    for (const auto& track : groupTracks)
        if (track.lengthInSamples == longestBefore && track.lengthInSamples < longest)
            warnings.add (entryOf (track), ImportWarnings::shorterThanGroup);
    for (const auto& track : batch)
        if (track.lengthInSamples < longest)
            warnings.add (entryOf (track), ImportWarnings::shorterThanGroup);

    const auto bits = groupTracks.empty() ? batch.front().bitsPerSample : groupTracks.front().bitsPerSample;
    for (const auto& track : batch)
        if (track.bitsPerSample != bits)
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
