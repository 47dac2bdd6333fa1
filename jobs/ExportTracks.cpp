#include "jobs/ExportTracks.h"

#include "jobs/AudioFileChunks.h"
#include "jobs/MonoFileWriter.h"
#include "model/DiskNames.h"
#include "model/FileLock.h"
#include "model/StoreSamples.h"
#include "terms/ChannelLayout.h"

#include <algorithm>
#include <cmath>
#include <set>

namespace tessivar
{

namespace
{
constexpr std::int64_t blockLength = 16384;  // samples rendered and written at a time
constexpr std::size_t longestFileName = 255; // bytes

juce::String joinedName (const juce::String& base, const juce::String& ending)
{
    return shortenedToBytes (base, longestFileName - ending.getNumBytesAsUTF8()) + ending;
}

/** A file by its bare name: getChildFile() would take a name that begins with "~" for somebody's home folder. */
juce::File fileIn (const juce::File& folder, const juce::String& name)
{
    return juce::File (juce::File::addTrailingSeparator (folder.getFullPathName()) + name);
}

/** A name that any file system takes, and no file browser hides. */
juce::String safeFileName (const juce::String& name)
{
    juce::String printable;

    for (auto text = name.getCharPointer(); ! text.isEmpty();)
        if (const auto character = text.getAndAdvance(); character >= 0x20 && character != 0x7f)
            printable += character;

    const auto safe = juce::File::createLegalFileName (printable).trimCharactersAtStart (". ").trimEnd();
    return safe.isNotEmpty() ? safe : juce::String ("Track");
}

/** Files by other writers of Groups don't tell where a track came from. */
juce::String baseName (const SessionTrack& track)
{
    const auto ofSource = track.sourceFile.getFileNameWithoutExtension();
    return ofSource.isNotEmpty() ? ofSource : safeFileName (track.name);
}

juce::String channelSuffix (const SessionTrack& track)
{
    return track.numChannels <= 1 ? "" : track.channel == 0 ? "_L" : "_R";
}

juce::String processedSuffix (const SessionTrack& track)
{
    return track.hasProcessedOutput() ? "_Processed" : "";
}

/** Gives out names that differ by more than case: many file systems take "kick" and "Kick" for the same. */
class UniqueNames
{
public:
    juce::String claim (const juce::String& base, const juce::String& suffix, const juce::String& extension)
    {
        for (int number = 1;; ++number)
        {
            const auto numbered = number == 1 ? suffix : suffix + "_" + juce::String (number);
            auto name = joinedName (base, numbered + extension);

            if (taken.insert (name.toLowerCase()).second)
                return name;
        }
    }

private:
    std::set<juce::String> taken;
};

void protectFilesOf (std::span<const SessionTrack> tracks, OutputRules& rules)
{
    for (const auto& track : tracks)
    {
        rules.protectSource (track.sourceFile);
        rules.protectSamples (track.source.get());
        rules.protectSamples (track.rendered.get());
    }
}

/** One signal to be written, read block by block; also measures what was removed from it. */
class Signal
{
public:
    virtual ~Signal() = default;

    /** Fills dest with the output from start on. */
    [[nodiscard]] virtual juce::Result read (std::int64_t start, std::span<float> dest) = 0;

    /** Energies of what was read so far. */
    double sourceEnergy = 0.0;
    double outputEnergy = 0.0;
    double removedEnergy = 0.0; // of source minus output
};

double energyOf (std::span<const float> samples)
{
    double sum = 0.0;

    for (const auto sample : samples)
        sum += static_cast<double> (sample) * static_cast<double> (sample);

    return sum;
}

juce::Result lostAudio (const SessionTrack& track, const std::shared_ptr<TrackSamples>& samples)
{
    const auto path = track.sourceFile.getFullPathName();
    return juce::Result::fail (
        "the audio of " + (path.isNotEmpty() ? path : track.name) + " can't be read: "
        + (samples != nullptr ? samples->lastError() : juce::String ("it was never kept")));
}

/** Samples of one channel as they are, from firstSample on. */
class PlainSignal final : public Signal
{
public:
    PlainSignal (const SessionTrack& sessionTrack,
                 std::shared_ptr<TrackSamples> channel,
                 std::int64_t firstSample)
        : track (sessionTrack), samples (std::move (channel)), first (firstSample)
    {
    }

    juce::Result read (std::int64_t start, std::span<float> dest) override
    {
        if (samples == nullptr || ! samples->readFrames (first + start, dest))
            return lostAudio (track, samples);

        outputEnergy += energyOf (dest);
        sourceEnergy = outputEnergy;
        return juce::Result::ok();
    }

private:
    const SessionTrack& track;
    std::shared_ptr<TrackSamples> samples;
    std::int64_t first;
};

/** Seven channels, weighted by the track's setting. */
class RenderedSignal final : public Signal
{
public:
    explicit RenderedSignal (const SessionTrack& sessionTrack)
        : track (sessionTrack), rule (SuppressionRule::forSetting (sessionTrack.setting)),
          frames (static_cast<std::size_t> (blockLength * channelLayout::numRendered))
    {
        const auto keepsAll = std::all_of (rule.channelWeight.begin(),
                                           rule.channelWeight.end(),
                                           [] (float weight) { return weight == 1.0f; });

        // The channels add up to the source only within the rounding of the sum, which would cost the last bit.
        isSource = keepsAll || rule.back == 1.0f;
    }

    juce::Result read (std::int64_t start, std::span<float> dest) override
    {
        constexpr std::size_t numChannels = channelLayout::numRendered;
        const auto block = std::span<float> (frames).first (dest.size() * numChannels);

        if (track.rendered == nullptr || ! track.rendered->readFrames (start, block))
            return lostAudio (track, track.rendered);

        if (! isSource)
            renderSuppression (dest, block, rule);

        for (std::size_t i = 0; i < dest.size(); ++i)
        {
            const auto source = block[i * numChannels + numChannels - 1];
            sourceEnergy += static_cast<double> (source) * static_cast<double> (source);

            if (isSource)
                dest[i] = source;

            const auto removed = static_cast<double> (source) - static_cast<double> (dest[i]);
            removedEnergy += removed * removed;
        }

        outputEnergy += energyOf (dest);

        // The same samples, summed in another order: the difference would read as something removed.
        if (isSource)
            sourceEnergy = outputEnergy;

        return juce::Result::ok();
    }

private:
    const SessionTrack& track;
    const SuppressionRule rule;
    std::vector<float> frames;
    bool isSource = false;
};

/** Writes one file after the other and keeps the report. */
class Exporter
{
public:
    Exporter (std::span<const SessionTrack> sessionTracks,
              const ExportOptions& exportOptions,
              const WorkControl& exportControl,
              std::int64_t samplesToWrite,
              ExportReport& exportReport)
        : options (exportOptions), control (exportControl), report (exportReport),
          rules (exportOptions.rules != nullptr ? *exportOptions.rules : ownRules),
          totalSamples (samplesToWrite)
    {
        protectFilesOf (sessionTracks, rules);

        if (const auto created = makeFolder (options.folder); created.failed())
            folderError = options.folder.getFullPathName() + " can't be made: " + created.getErrorMessage();
    }

    /** Writes one file. result.error is also filed in the report. Does nothing after a stop. */
    TrackExport write (const juce::File& target, MonoFilePlan plan, Signal& signal)
    {
        TrackExport result;
        result.file = target;
        result.format = plan.format;

        if (control.stopRequested())
            report.stopped = true;

        if (report.stopped)
            return result;

        fileStart = samplesDone;
        samplesDone += plan.lengthInSamples;
        const auto outcome = writeFile (std::move (plan), signal, result);

        if (report.stopped)
            return result;

        result.written = outcome.wasOk();
        result.error = outcome.getErrorMessage();

        if (outcome.failed())
            report.errors.add (result.error);

        return result;
    }

    void log (const juce::File& file, const juce::String& text) { report.remarks.push_back ({ file, text }); }

private:
    juce::Result writeFile (MonoFilePlan plan, Signal& signal, TrackExport& result)
    {
        const auto& target = result.file;

        if (folderError.isNotEmpty())
        {
            log (target, "Failed to open file.");
            return juce::Result::fail (folderError);
        }

        if (const auto refusal = rules.claim (target, options.overwrite); refusal != OutputRefusal::none)
        {
            log (target,
                 refusal == OutputRefusal::exists ? "File already exists - Not written."
                                                  : "Not written: " + reasonOf (refusal) + ".");
            return juce::Result::fail (target.getFullPathName() + ": " + reasonOf (refusal));
        }

        if (const auto possible = plan.check(); possible.failed())
        {
            log (target, "Failed to create file.");
            return juce::Result::fail (target.getFullPathName() + ": " + possible.getErrorMessage());
        }

        if (target.existsAsFile())
            log (target, "File already exists - Overwritting.");

        const auto format = plan.format;
        const auto numSamples = plan.lengthInSamples;
        const auto fileBytes = plan.fileBytes();
        MonoFileWriter writer (
            target, std::move (plan), options.calls != nullptr ? *options.calls : FileSystemCalls::system());

        if (auto opened = writer.openFile(); opened.failed())
        {
            log (target, "Failed to open file.");
            return opened;
        }

        if (auto created = writer.createWriter(); created.failed())
        {
            log (target, "Failed to create file.");
            return created;
        }

        std::vector<float> samples (static_cast<std::size_t> (blockLength));

        for (std::int64_t start = 0; start < numSamples; start += blockLength)
        {
            if (control.stopRequested())
            {
                report.stopped = true;
                return juce::Result::ok();
            }

            const auto count = std::min (blockLength, numSamples - start);
            const auto block = std::span<float> (samples).first (static_cast<std::size_t> (count));
            auto outcome = signal.read (start, block);

            if (outcome.wasOk())
                outcome = writer.write (block);

            if (outcome.failed())
            {
                log (target, "Failed to write file.");
                return outcome;
            }

            for (const auto sample : block)
                result.peak = std::max (result.peak, std::abs (sample));

            setProgress (start + count);
        }

        auto finished = writer.finish();

        if (finished.wasOk())
            finished = writer.commit (options.overwrite ? AtomicFile::IfTargetExists::replace
                                                        : AtomicFile::IfTargetExists::fail);

        if (finished.failed())
        {
            log (target, "Failed to write file.");
            return finished;
        }

        result.bytes = fileBytes;
        result.clippedSamples = writer.clippedSamples();

        if (format.note.isNotEmpty())
            log (target, format.note);

        if (result.clippedSamples > 0)
            log (target,
                 juce::String (result.clippedSamples) + " samples clipped, peak "
                     + juce::String (juce::Decibels::gainToDecibels (result.peak), 2) + " dBFS.");

        return juce::Result::ok();
    }

    void setProgress (std::int64_t samplesOfFile)
    {
        control.progress (static_cast<double> (fileStart + samplesOfFile)
                          / static_cast<double> (std::max<std::int64_t> (1, totalSamples)));
    }

    const ExportOptions& options;
    const WorkControl& control;
    ExportReport& report;
    OutputRules ownRules;
    OutputRules& rules;
    juce::String folderError;
    const std::int64_t totalSamples;
    std::int64_t samplesDone = 0, fileStart = 0;
};

/** An energy over the source's as level; 0 for a silent source. */
double levelOverSource (double energy, const Signal& signal)
{
    constexpr double lowest = -200.0;

    if (signal.sourceEnergy <= 0.0)
        return 0.0;

    return std::max (lowest, 10.0 * std::log10 (std::max (energy / signal.sourceEnergy, 1.0e-20)));
}
/** Writes the output of one track, or its source as it is when it has none. */
TrackExport
exportOne (const SessionTrack& track, const juce::File& file, ExportFileType type, Exporter& exporter)
{
    auto metadata = carryMetadata (track, type);
    MonoFilePlan plan;
    plan.type = type;
    plan.format = exportSampleFormatFor (track.bitsPerSample, track.isFloatingPoint, type);
    plan.sampleRate = track.sampleRate;
    plan.lengthInSamples = track.lengthInSamples;
    plan.metadata = std::move (metadata.chunks);

    std::unique_ptr<Signal> signal;

    if (track.hasProcessedOutput())
        signal = std::make_unique<RenderedSignal> (track);
    else
        signal = std::make_unique<PlainSignal> (track, track.source, 0);

    auto result = exporter.write (file, std::move (plan), *signal);
    result.removedDb = levelOverSource (signal->outputEnergy, *signal);

    if (signal->sourceEnergy > 0.0)
        result.removedPartDb = levelOverSource (signal->removedEnergy, *signal);

    if (result.written && metadata.note.isNotEmpty())
        exporter.log (result.file, metadata.note);

    return result;
}
} // namespace

ExportFileType exportFileTypeFor (const juce::String& extension)
{
    const auto bare = extension.trimCharactersAtStart (".");
    const auto isAiff = bare.equalsIgnoreCase ("aiff") || bare.equalsIgnoreCase ("aif");
    return isAiff ? ExportFileType::aiff : ExportFileType::wav;
}

ExportSampleFormat exportSampleFormatFor (int bitsPerSample, bool isFloatingPoint, ExportFileType type)
{
    ExportSampleFormat format;
    const auto source = juce::String (bitsPerSample) + "-bit " + (isFloatingPoint ? "float" : "integer");

    if (bitsPerSample >= 32)
    {
        format.isFloatingPoint = type == ExportFileType::wav;
        format.bitsPerSample = format.isFloatingPoint ? 32 : 24;

        if (! format.isFloatingPoint)
            format.note = "The source is " + source + ", which AIFF can't hold: written as 24 bit.";
        else if (bitsPerSample > 32 || ! isFloatingPoint)
            format.note = "The source is " + source + ": written as 32-bit float.";

        return format;
    }

    format.bitsPerSample = bitsPerSample <= 8 ? 8 : bitsPerSample <= 16 ? 16 : 24;

    if (format.bitsPerSample != bitsPerSample)
        format.note = "The source is " + juce::String (bitsPerSample) + " bit: written as "
                      + juce::String (format.bitsPerSample) + " bit.";

    return format;
}

juce::String exportFileName (const SessionTrack& track, const juce::String& extension)
{
    return joinedName (baseName (track), channelSuffix (track) + processedSuffix (track) + extension);
}

std::vector<juce::File> planExport (std::span<const SessionTrack> tracks, const ExportOptions& options)
{
    UniqueNames names;
    std::vector<juce::File> files;

    for (const auto& track : tracks)
        files.push_back (fileIn (options.folder,
                                 names.claim (baseName (track),
                                              channelSuffix (track) + processedSuffix (track),
                                              options.extension)));

    return files;
}

std::vector<juce::File> planComponents (std::span<const SessionTrack> tracks, const ExportOptions& options)
{
    UniqueNames names;
    std::vector<juce::File> files;

    for (const auto& track : tracks)
        for (int slot = 0; slot < channelLayout::numComponents; ++slot)
        {
            const auto suffix =
                channelSuffix (track) + "_Component" + juce::String (slot + 1).paddedLeft ('0', 2);
            files.push_back (fileIn (options.folder, names.claim (baseName (track), suffix, ".wav")));
        }

    return files;
}

juce::StringArray ExportReport::log() const
{
    juce::StringArray lines;

    for (const auto& remark : remarks)
        lines.add (remark.file.getFileName() + " - " + remark.text);

    return lines;
}

juce::StringArray ExportReport::remarksOn (const juce::File& file) const
{
    juce::StringArray texts;

    for (const auto& remark : remarks)
        if (remark.file == file)
            texts.add (remark.text);

    return texts;
}

ExportReport
exportTracks (std::span<const SessionTrack> tracks, const ExportOptions& options, const WorkControl& control)
{
    return exportTracks (tracks, planExport (tracks, options), options, control);
}

ExportReport exportTracks (std::span<const SessionTrack> tracks,
                           const std::vector<juce::File>& files,
                           const ExportOptions& options,
                           const WorkControl& control)
{
    ExportReport report;
    const auto type = exportFileTypeFor (options.extension);
    std::int64_t totalSamples = 0;

    for (const auto& track : tracks)
        totalSamples += track.lengthInSamples;

    Exporter exporter (tracks, options, control, totalSamples, report);

    for (std::size_t i = 0; i < tracks.size(); ++i)
    {
        const auto& track = tracks[i];
        report.tracks.push_back (exportOne (track, files[i], type, exporter));
        const auto& result = report.tracks.back();

        if (! result.written)
            continue;

        const auto ownName =
            baseName (track) + channelSuffix (track) + processedSuffix (track) + options.extension;

        if (ownName.getNumBytesAsUTF8() > longestFileName)
            exporter.log (result.file, "Name shortened: it would have had more than 255 bytes.");
        else if (result.file.getFileName() != ownName)
            exporter.log (result.file, "Numbered: another track has the name " + ownName + ".");
    }

    return report;
}

ExportReport exportTrackTo (const juce::File& target,
                            const SessionTrack& track,
                            const ExportOptions& options,
                            const WorkControl& control)
{
    ExportReport report;
    auto ownOptions = options;
    ownOptions.folder = target.getParentDirectory();
    const auto file = target.getFileExtension().isEmpty() ? target.withFileExtension (".wav") : target;
    Exporter exporter ({ &track, 1 }, ownOptions, control, track.lengthInSamples, report);
    report.tracks.push_back (exportOne (track, file, exportFileTypeFor (file.getFileExtension()), exporter));
    return report;
}

ExportReport exportComponents (std::span<const SessionTrack> tracks,
                               const ExportOptions& options,
                               const WorkControl& control)
{
    ExportReport report;
    std::vector<SessionTrack> kept;
    std::int64_t totalSamples = 0;

    for (const auto& track : tracks)
        if (track.components != nullptr)
        {
            kept.push_back (track);
            totalSamples += channelLayout::numComponents * track.lengthInSamples;
        }

    const auto files = planComponents (kept, options);
    auto file = files.begin();
    Exporter exporter (tracks, options, control, totalSamples, report);

    for (const auto& track : kept)
    {
        // Ten planes one after the other, which is one long channel.
        const auto planes = std::make_shared<StoreSamples> (track.components, 1);

        for (int slot = 0; slot < channelLayout::numComponents; ++slot, ++file)
        {
            MonoFilePlan plan;
            plan.format = { 32, true, {} };
            plan.sampleRate = track.sampleRate;
            plan.lengthInSamples = track.lengthInSamples;
            PlainSignal signal (track, planes, slot * track.lengthInSamples);

            if (exporter.write (*file, std::move (plan), signal).written)
                report.componentFiles.push_back (*file);
        }
    }

    return report;
}

} // namespace tessivar
